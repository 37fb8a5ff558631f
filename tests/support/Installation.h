#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

#include <memory>
#include <vector>

namespace hvx::test {

// The real programs in an application folder of their own, with a private store, session and
// log folder, every box and dialog answered from a queue and recorded as JSON lines. The
// session is unique to this run: two runs of one test on one machine (two build folders) must
// not see each other's windows. On destruction the Monitors are killed, every core application
// is asked to close, and whatever still runs from the folder is killed.
class Installation {
  public:
    explicit Installation(const QString& name);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    // A help-desk database and its db.ini in `folder` (made when missing), by hvx-dbsetup.
    bool createDatabase(const QString& folder, bool demo = false);
    // Instances of these names, each with a database in a folder of its name, listed in
    // monitornames.txt beside the program.
    bool createInstances(const QStringList& names);
    // The first value that `sql` (with `values` bound in order) gives on the help-desk database
    // beside the program or in `databaseFolder`; invalid when it gives none.
    QVariant query(const QString& sql, const QVariantList& values = {},
                   const QString& databaseFolder = {}) const;
    void setSetting(const QString& name, const QString& value, const QString& databaseFolder = {});

    QProcess* startMonitor(const QString& answers = {}, const QString& coreFault = {});
    // The orderly end a session's end or a service manager asks for.
    static bool terminate(QProcess* monitor);

    // The store is opened afresh for each value, so the test holds no connection between
    // them and the programs' last close can fold the journal away. A missing value is empty.
    QString control(const char* name, const QString& section = QStringLiteral("Controls")) const;
    void setControl(const char* name, const QString& value,
                    const QString& section = QStringLiteral("Controls")) const;
    bool window(const QString& caption) const;
    QString boxes() const;
    QString log(const QString& logFolder = {}) const;

    const QString bin = qEnvironmentVariable("HVX_BIN_DIR");
    QString session;
    QTemporaryDir dir;
    QString app;
    QString registry;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Runs the Monitor so that file permissions bind it, as root too.
    bool withoutFileOverride = false;

  private:
    std::vector<std::unique_ptr<QProcess>> monitors_;
    QStringList sections_{QStringLiteral("Controls")};
};

}  // namespace hvx::test
