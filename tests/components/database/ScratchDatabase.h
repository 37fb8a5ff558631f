#pragma once

#include "components/DbIni.h"
#include "platform/DateValue.h"

#include <QString>
#include <QTemporaryDir>
#include <QVariant>

namespace hvx::test {

enum class TestEngine { Sqlite, Postgres };

// HVX_TEST_ENGINE: "postgres" for the PostgreSQL runs, anything else is SQLite.
TestEngine testEngineFromEnvironment();

// A server made by scripts/pg-test-server: the fields of DIR/connection.env.
struct PgTestServer {
    QString host;
    QString port;
    QString user;
    QString password;
    QString database;

    // Throws RuntimeError 53 when DIR holds no connection.env.
    static PgTestServer fromDir(const QString& dir);
    // The server of the ctest fixture: HVX_PG_DIR.
    static PgTestServer fromEnvironment();
    DbIni dbIni(const QString& databaseName) const;
};

// A database of its own for one test, with its db.ini in a fresh folder: an empty SQLite file,
// or a new database on the PostgreSQL test server that is dropped again at the end.
class ScratchDatabase {
  public:
    explicit ScratchDatabase(TestEngine engine);
    ~ScratchDatabase();

    ScratchDatabase(const ScratchDatabase&) = delete;
    ScratchDatabase& operator=(const ScratchDatabase&) = delete;

    QString folder() const { return dir_.path(); }
    // The SQLite file (empty for PostgreSQL).
    QString file() const;
    const DbIni& ini() const { return ini_; }

  private:
    TestEngine engine_;
    QTemporaryDir dir_;
    DbIni ini_;
    PgTestServer server_;
    QString pgDatabase_;
};

// A date-time as the help-desk tables return it: a QDateTime from a server, the stored text
// 'yyyy-mm-dd hh:nn:ss' from SQLite. The fields are taken as they are.
DateValue storedDate(const QVariant& value);

}  // namespace hvx::test
