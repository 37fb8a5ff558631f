#pragma once

#include "ScratchDatabase.h"
#include "fakes/TestEnvironment.h"

#include <QString>
#include <QVariant>

namespace hvx::test {

// A help-desk database of its own for one test, on the engine the test run was started for
// (HVX_TEST_ENGINE), with the schema and default settings, connected as the context's
// database manager with formatters for its type.
class HelpDeskFixture {
  public:
    explicit HelpDeskFixture(TestEnvironment& t);

    ScratchDatabase scratch;

    // A new database manager on the same database, for a test whose procedure released it.
    void reconnect();
    // Runs a statement of the test's own; fails the test's expectations loudly when it fails.
    void execute(const QString& sql);
    QVariant scalar(const QString& sql);
    QString text(const QString& value) const;
    void setSetting(const QString& name, const QString& value);
    void setSettingNull(const QString& name);
    void deleteSetting(const QString& name);

  private:
    TestEnvironment& t_;
};

}  // namespace hvx::test
