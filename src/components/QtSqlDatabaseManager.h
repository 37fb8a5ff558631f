#pragma once

#include "DbIni.h"
#include "platform/DatabaseManager.h"
#include "platform/Environment.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QSqlQuery;

namespace hvx {

struct OpenRecordsets;

// The engine behind the connection, for the few things that differ beyond literals (the
// schema's column types, catalogue queries).
enum class SqlEngine { None, Sqlite, PostgreSql, SqlServer };

// The help-desk database on Qt SQL. JET is an SQLite file (QSQLITE) that is never created
// here: a missing file is a failed connection. SQLSERVER is a server reached through ODBC
// (QODBC) with the fields of db.ini; SQL Server or PostgreSQL behind it.
//
// Each manager has its own Qt connection, removed when it is destroyed. The connection is
// opened by Connect or OpenConnection, and again by any statement after CloseConnection, after
// Reset, or after a failure that lost the connection (a server that went away is reached again
// by the next statement once it is back). Every failure is reported to the error manager, when
// one is set, with the driver's error number and text; the database password is handed to
// the error manager's Conceal so that it never reaches the log.
//
// Single thread: the thread that created the manager.
class QtSqlDatabaseManager final : public DatabaseManager {
  public:
    QtSqlDatabaseManager();
    ~QtSqlDatabaseManager() override;

    QtSqlDatabaseManager(const QtSqlDatabaseManager&) = delete;
    QtSqlDatabaseManager& operator=(const QtSqlDatabaseManager&) = delete;

    static Factory<DatabaseManager> factory();

    bool NeedsReset() const override { return needsReset_; }
    QString DatabaseType() const override;
    QString DatabaseLocation() const override;
    QString DatabasePassword() const override {
        return settings_ ? settings_->password : QString();
    }
    QString DatabaseUserId() const override { return settings_ ? settings_->userId : QString(); }
    // It tells the operator nothing itself, so the end of start-up changes nothing here.
    void SetStartupComplete(bool /*complete*/) override {}
    void SetDbIniFolder(const QString& folder) override { dbIniFolder_ = folder; }
    QString DbIniFolder() const override { return dbIniFolder_; }
    // No edition of ours blocks updates; the member exists for the product's read-only mode.
    bool UpdatesBlocked() const override { return false; }
    void CloseConnection(bool release) override;
    std::unique_ptr<Recordset> OpenRecordset(const QString& sql) override;
    bool ExecuteCommand(const QString& sql, long options) override;
    bool ExecuteStatement(const QString& sql, long& rowCount) override;
    void Reset(bool needsReset) override;
    void SetErrorManager(ErrorManager* errorManager) override;
    long CheckJetDatabase(const QString& applicationTitle, const QString& unused1,
                          const QVariant& unused2, const QVariant& unused3, long unused4) override;
    bool OpenConnection(bool unused) override;
    // Reads db.ini from the db.ini folder, or from the application folder when none is set.
    long Connect(const QString& unused1, bool unused2, const QVariant& unused3) override;

    // Beyond the product's interface, for tools and tests.

    // Connect with settings at hand instead of a db.ini file; a relative JET location is
    // taken relative to iniFolder. Same answers as Connect.
    long ConnectWith(const DbIni& settings, const QString& iniFolder);
    bool IsConnected() const;
    SqlEngine Engine() const { return engine_; }
    // The folder db.ini is read from: DbIniFolder, else the application folder.
    QString IniFolder() const;
    // The JET file, absolute; empty for other types.
    QString DatabaseFile() const;
    // Tables of the connected database (names as the engine spells them).
    QStringList TableNames();
    bool HasTable(const QString& name);
    // The last failure's text, also when no error manager is set.
    QString LastErrorText() const { return lastErrorText_; }

  private:
    bool ensureOpen();
    bool open();
    void closeDatabase();
    std::optional<QSqlQuery> run(const QString& sql);
    void reportStatementError(const QSqlError& error, const QString& sql);
    void report(long number, const QString& description, const QString& text);
    void noteConnectionFailure(const QSqlError& error);
    bool connectionLost() const;
    long checkSchema();
    std::optional<QStringList> tableNames();

    QString connectionName_;
    QSqlDatabase db_;
    std::shared_ptr<OpenRecordsets> recordsets_;
    ErrorManager* errorManager_ = nullptr;
    QString dbIniFolder_;
    std::optional<DbIni> settings_;
    QString settingsFolder_;
    SqlEngine engine_ = SqlEngine::None;
    bool needsReset_ = false;
    QString lastErrorText_;
};

}  // namespace hvx
