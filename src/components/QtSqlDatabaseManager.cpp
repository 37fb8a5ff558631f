#include "QtSqlDatabaseManager.h"

#include "PasswordConcealment.h"
#include "QtSqlRecordset.h"
#include "platform/ErrorManager.h"
#include "platform/RuntimeError.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QUrl>

#include <sql.h>
#include <sqlext.h>
#include <sqlite3.h>
#include <unistd.h>

#include <atomic>

namespace hvx {

namespace {

constexpr int kStatementShownInReports = 400;
// The longest a statement waits for a lock held by another connection before it fails.
constexpr int kLockWaitMilliseconds = 1000;
// SQLite primary result codes after which the connection itself is no good.
constexpr int kSqliteIoErr = 10;
constexpr int kSqliteCorrupt = 11;
constexpr int kSqliteCantOpen = 14;
constexpr int kSqliteNotADb = 26;

QString nextConnectionName() {
    static std::atomic<unsigned> counter{0};
    return QStringLiteral("hvx-database-%1").arg(++counter);
}

QString shortened(const QString& sql) {
    return sql.size() <= kStatementShownInReports
               ? sql
               : sql.left(kStatementShownInReports) + QStringLiteral("…");
}

template <typename Handle>
Handle nativeHandle(const QSqlDatabase& db) {
    const QVariant handle = db.driver() ? db.driver()->handle() : QVariant();
    // Handle is the driver's pointer type (sqlite3*, SQLHANDLE): its size is what is meant.
    // NOLINTNEXTLINE(bugprone-sizeof-expression)
    if (!handle.isValid() || handle.metaType().sizeOf() != sizeof(Handle)) {
        return nullptr;
    }
    return *static_cast<const Handle*>(handle.constData());
}

}  // namespace

QtSqlDatabaseManager::QtSqlDatabaseManager()
    : connectionName_(nextConnectionName()), recordsets_(std::make_shared<OpenRecordsets>()) {}

QtSqlDatabaseManager::~QtSqlDatabaseManager() {
    closeDatabase();
}

Factory<DatabaseManager> QtSqlDatabaseManager::factory() {
    return [] { return std::make_unique<QtSqlDatabaseManager>(); };
}

QString QtSqlDatabaseManager::DatabaseType() const {
    return settings_ ? settings_->canonicalType() : QString();
}

QString QtSqlDatabaseManager::DatabaseLocation() const {
    if (!settings_) {
        return {};
    }
    if (settings_->isJet()) {
        return DatabaseFile();
    }
    const QString where = settings_->server.isEmpty() ? settings_->dsn : settings_->server;
    return settings_->database.isEmpty() ? where : where + QLatin1Char('/') + settings_->database;
}

QString QtSqlDatabaseManager::DatabaseFile() const {
    return settings_ && settings_->isJet() ? settings_->databaseFile(settingsFolder_) : QString();
}

QString QtSqlDatabaseManager::IniFolder() const {
    if (dbIniFolder_.isEmpty()) {
        return QCoreApplication::applicationDirPath();
    }
    QString folder = dbIniFolder_;
    if (folder.size() > 1 &&
        (folder.endsWith(QLatin1Char('/')) || folder.endsWith(QLatin1Char('\\')))) {
        folder.chop(1);
    }
    return folder;
}

bool QtSqlDatabaseManager::IsConnected() const {
    return db_.isValid() && db_.isOpen();
}

void QtSqlDatabaseManager::SetErrorManager(ErrorManager* errorManager) {
    errorManager_ = errorManager;
}

void QtSqlDatabaseManager::CloseConnection(bool /*release*/) {
    closeDatabase();
    needsReset_ = false;
}

void QtSqlDatabaseManager::Reset(bool needsReset) {
    if (needsReset) {
        closeDatabase();
    }
    needsReset_ = false;
}

bool QtSqlDatabaseManager::OpenConnection(bool /*unused*/) {
    return ensureOpen();
}

long QtSqlDatabaseManager::Connect(const QString& /*unused1*/, bool /*unused2*/,
                                   const QVariant& /*unused3*/) {
    closeDatabase();
    const QString folder = IniFolder();
    try {
        const DbIni settings = DbIni::load(DbIni::pathIn(folder));
        return ConnectWith(settings, folder);
    } catch (const RuntimeError& error) {
        settings_.reset();
        report(error.number(), error.description(),
               QStringLiteral("Unable to read the database settings: ") + error.description());
        return 0;
    }
}

long QtSqlDatabaseManager::ConnectWith(const DbIni& settings, const QString& iniFolder) {
    closeDatabase();
    settings_ = settings;
    settingsFolder_ = iniFolder;
    recordsets_->password = settings.password;
    if (!open()) {
        return 0;
    }
    return checkSchema();
}

long QtSqlDatabaseManager::checkSchema() {
    // SQLite reads the file only now: a file that is no database fails here, not at open.
    const std::optional<QStringList> tables = tableNames();
    if (!tables) {
        return 0;
    }
    return tables->contains(QStringLiteral("Settings"), Qt::CaseInsensitive) ? 2 : 1;
}

QStringList QtSqlDatabaseManager::TableNames() {
    return tableNames().value_or(QStringList());
}

std::optional<QStringList> QtSqlDatabaseManager::tableNames() {
    if (!ensureOpen()) {
        return std::nullopt;
    }
    if (engine_ != SqlEngine::Sqlite) {
        return db_.tables(QSql::Tables);
    }
    auto query = run(QStringLiteral("select name from sqlite_master where type = 'table'"));
    if (!query) {
        return std::nullopt;
    }
    QStringList names;
    while (query->next()) {
        names.append(query->value(0).toString());
    }
    return names;
}

bool QtSqlDatabaseManager::HasTable(const QString& name) {
    return TableNames().contains(name, Qt::CaseInsensitive);
}

std::unique_ptr<Recordset> QtSqlDatabaseManager::OpenRecordset(const QString& sql) {
    auto query = run(sql);
    if (!query) {
        return nullptr;
    }
    try {
        return std::make_unique<QtSqlRecordset>(std::move(*query), recordsets_);
    } catch (const RuntimeError& error) {
        needsReset_ = needsReset_ || connectionLost();
        report(error.number(), error.description(),
               error.description() + QStringLiteral(" in the statement: ") + shortened(sql));
        return nullptr;
    }
}

bool QtSqlDatabaseManager::ExecuteCommand(const QString& sql, long /*options*/) {
    return run(sql).has_value();
}

bool QtSqlDatabaseManager::ExecuteStatement(const QString& sql, long& rowCount) {
    auto query = run(sql);
    rowCount = query ? query->numRowsAffected() : 0;
    return query.has_value();
}

long QtSqlDatabaseManager::CheckJetDatabase(const QString& /*applicationTitle*/,
                                            const QString& /*unused1*/, const QVariant& /*unused2*/,
                                            const QVariant& /*unused3*/, long /*unused4*/) {
    if (!settings_ || !settings_->isJet()) {
        return 1;
    }
    if (!ensureOpen()) {
        return 0;
    }
    const QString file = DatabaseFile();
    QSqlQuery check(db_);
    check.setForwardOnly(true);
    QStringList problems;
    if (check.exec(QStringLiteral("PRAGMA quick_check"))) {
        while (check.next()) {
            problems.append(check.value(0).toString());
        }
    }
    if (check.lastError().isValid()) {
        const QSqlError error = check.lastError();
        needsReset_ = true;
        report(sqlErrorNumber(error), sqlErrorDescription(error),
               QStringLiteral("The database file %1 is damaged or is no database: %2")
                   .arg(file, sqlErrorDescription(error)));
        return 0;
    }
    if (problems != QStringList{QStringLiteral("ok")}) {
        const QString found = problems.mid(0, 5).join(QStringLiteral("; "));
        report(kSqliteCorrupt, found,
               QStringLiteral("The database file %1 is damaged: %2").arg(file, found));
        return 0;
    }

    // A file without any write permission has been marked read-only on purpose, and counts as
    // such even for a user (root) whom the system would let write it anyway.
    const QFileInfo info(file);
    const auto anyWrite =
        QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    const QByteArray nativeFile = QFile::encodeName(file);
    const QByteArray nativeFolder = QFile::encodeName(info.absolutePath());
    auto* handle = nativeHandle<sqlite3*>(db_);
    const bool readOnly = (info.permissions() & anyWrite) == 0 ||
                          ::access(nativeFile.constData(), W_OK) != 0 ||
                          (handle != nullptr && sqlite3_db_readonly(handle, "main") == 1);
    if (readOnly) {
        report(err::PermissionDenied, standardErrorDescription(err::PermissionDenied),
               QStringLiteral("The database file %1 is read-only: the help desk needs to write it.")
                   .arg(file));
        return 0;
    }
    // SQLite writes its journal beside the file.
    if (::access(nativeFolder.constData(), W_OK | X_OK) != 0) {
        report(err::PermissionDenied, standardErrorDescription(err::PermissionDenied),
               QStringLiteral("The folder %1 of the database file cannot be written: the database "
                              "needs it for its journal.")
                   .arg(info.absolutePath()));
        return 0;
    }
    return 1;
}

bool QtSqlDatabaseManager::ensureOpen() {
    if (needsReset_) {
        // The failure was reported when it happened; carry on with a fresh connection.
        closeDatabase();
    }
    if (IsConnected()) {
        return true;
    }
    return open();
}

bool QtSqlDatabaseManager::open() {
    closeDatabase();
    if (!settings_) {
        const QString folder = IniFolder();
        try {
            settings_ = DbIni::load(DbIni::pathIn(folder));
            settingsFolder_ = folder;
        } catch (const RuntimeError& error) {
            report(error.number(), error.description(),
                   QStringLiteral("Unable to read the database settings: ") + error.description());
            return false;
        }
        recordsets_->password = settings_->password;
    }
    const DbIni& settings = *settings_;
    needsReset_ = true;  // until the connection stands
    if (settings.isJet()) {
        const QString file = DatabaseFile();
        if (file.isEmpty() || !QFileInfo(file).isFile()) {
            const QString what =
                file.isEmpty() ? QStringLiteral("db.ini names no database file") : file;
            report(err::FileNotFound, standardErrorDescription(err::FileNotFound),
                   QStringLiteral("Unable to connect to the database: file not found: ") + what);
            return false;
        }
        db_ = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
        // mode=rw: never create a missing file (a typing error in db.ini would otherwise
        // leave an empty database behind). The busy time-out lets the core application and
        // the Monitor write the same file, and is short: the Monitor's statements run on its
        // user-interface thread, which must never wait long for another writer.
        db_.setConnectOptions(
            QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1").arg(kLockWaitMilliseconds));
        db_.setDatabaseName(QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded) +
                            QStringLiteral("?mode=rw"));
        engine_ = SqlEngine::Sqlite;
    } else if (settings.isServer()) {
        db_ = QSqlDatabase::addDatabase(QStringLiteral("QODBC"), connectionName_);
        db_.setConnectOptions(QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=15"));
        // The credentials travel inside the connection string, properly braced: QODBC would
        // append a user name and password set apart without any quoting.
        db_.setDatabaseName(settings.odbcConnectionString());
        engine_ = SqlEngine::SqlServer;
    } else {
        report(err::InvalidArgument, standardErrorDescription(err::InvalidArgument),
               QStringLiteral(
                   "Unable to connect to the database: unknown database type \"%1\" in db.ini")
                   .arg(settings.type));
        return false;
    }
    if (!db_.isValid()) {
        report(err::CannotCreateComponent, standardErrorDescription(err::CannotCreateComponent),
               QStringLiteral(
                   "Unable to connect to the database: the Qt SQL driver %1 is not installed")
                   .arg(db_.driverName()));
        closeDatabase();
        return false;
    }
    if (!db_.open()) {
        const QSqlError error = db_.lastError();
        report(sqlErrorNumber(error), sqlErrorDescription(error),
               QStringLiteral("Unable to connect to the database %1: %2")
                   .arg(DatabaseLocation(), sqlErrorDescription(error)));
        closeDatabase();
        return false;
    }
    if (engine_ == SqlEngine::SqlServer && !setUpServerSession()) {
        closeDatabase();
        return false;
    }
    needsReset_ = false;
    return true;
}

bool QtSqlDatabaseManager::setUpServerSession() {
    QStringList statements;
    switch (db_.driver()->dbmsType()) {
        case QSqlDriver::PostgreSQL:
            engine_ = SqlEngine::PostgreSql;
            // The text literals rely on backslashes being ordinary characters.
            statements << QStringLiteral("SET standard_conforming_strings = on")
                       << QStringLiteral("SET lock_timeout = %1").arg(kLockWaitMilliseconds);
            break;
        case QSqlDriver::MSSqlServer:
            statements << QStringLiteral("SET LOCK_TIMEOUT %1").arg(kLockWaitMilliseconds);
            break;
        default:
            break;
    }
    for (const QString& statement : statements) {
        QSqlQuery setup(db_);
        if (!setup.exec(statement)) {
            reportStatementError(setup.lastError(), setup.lastQuery());
            return false;
        }
    }
    return true;
}

void QtSqlDatabaseManager::closeDatabase() {
    // Queries must let go of the driver before the connection is removed.
    const auto live = recordsets_->live;
    for (QtSqlRecordset* recordset : live) {
        recordset->Close();
    }
    if (db_.isValid()) {
        db_.close();
        db_ = QSqlDatabase();
        QSqlDatabase::removeDatabase(connectionName_);
    }
}

std::optional<QSqlQuery> QtSqlDatabaseManager::run(const QString& sql) {
    if (!ensureOpen()) {
        return std::nullopt;
    }
    QSqlQuery query(db_);
    query.setForwardOnly(true);
    if (query.exec(sql)) {
        return query;
    }
    const QSqlError error = query.lastError();
    noteConnectionFailure(error);
    reportStatementError(error, sql);
    return std::nullopt;
}

void QtSqlDatabaseManager::noteConnectionFailure(const QSqlError& error) {
    if (error.type() == QSqlError::ConnectionError) {
        needsReset_ = true;
        return;
    }
    if (engine_ == SqlEngine::Sqlite) {
        const int primary = static_cast<int>(sqlErrorNumber(error) & 0xff);
        if (primary == kSqliteIoErr || primary == kSqliteCorrupt || primary == kSqliteCantOpen ||
            primary == kSqliteNotADb) {
            needsReset_ = true;
        }
        return;
    }
    if (connectionLost()) {
        needsReset_ = true;
    }
}

bool QtSqlDatabaseManager::connectionLost() const {
    if (engine_ != SqlEngine::PostgreSql && engine_ != SqlEngine::SqlServer) {
        return false;
    }
    SQLHDBC connection = nativeHandle<SQLHDBC>(db_);
    if (connection == nullptr) {
        return true;
    }
    SQLUINTEGER dead = SQL_CD_FALSE;
    const SQLRETURN result =
        SQLGetConnectAttr(connection, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
    return SQL_SUCCEEDED(result) && dead == SQL_CD_TRUE;
}

void QtSqlDatabaseManager::reportStatementError(const QSqlError& error, const QString& sql) {
    const QString description = sqlErrorDescription(error);
    report(sqlErrorNumber(error), description,
           description + QStringLiteral(" in the statement: ") + shortened(sql));
}

void QtSqlDatabaseManager::report(long number, const QString& rawDescription,
                                  const QString& rawText) {
    // Driver messages and connection strings are where the password could show.
    const QString password = settings_ ? settings_->password : QString();
    const QString description = concealPassword(rawDescription, password);
    const QString text = concealPassword(rawText, password);
    lastErrorText_ = text;
    if (!errorManager_) {
        return;
    }
    try {
        errorManager_->SetErrorNumber(number);
        errorManager_->SetErrorDescription(description);
        errorManager_->SetErrorText(text);
        bool isTrace = false;
        errorManager_->Report(isTrace);
    } catch (...) {
        // A report that cannot be made must not turn a failed statement into a crash.
    }
}

}  // namespace hvx
