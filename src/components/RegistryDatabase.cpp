#include "RegistryDatabase.h"

#include <QByteArray>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hvx {

namespace {

constexpr int kBusyTimeoutMs = 5000;
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

// The busy time-out comes first: two processes starting on a fresh file both switch it to WAL
// and create the table, and the loser must wait instead of failing. NOCASE folds ASCII only,
// which is how the registry compares key paths and value names. The value column has no
// declared type, so each value keeps the type it was written with (text or integer).
constexpr const char* kSetup =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=NORMAL;"
    "CREATE TABLE IF NOT EXISTS registry_values ("
    " key_path TEXT NOT NULL COLLATE NOCASE,"
    " name TEXT NOT NULL COLLATE NOCASE,"
    " value NOT NULL,"
    " PRIMARY KEY (key_path, name)"
    ") WITHOUT ROWID;";

// The keys below ?1 lie in [?2, ?3): ?1 & "\" up to ?1 & "]", since "]" follows "\" directly
// and NOCASE folds only letters. A range, unlike LIKE, takes "_" and "%" literally and walks
// the primary key.
const char* sqlText(RegistryDatabase::Sql which) {
    using Sql = RegistryDatabase::Sql;
    switch (which) {
        case Sql::Query:
            return "SELECT value FROM registry_values WHERE key_path = ?1 AND name = ?2";
        case Sql::Upsert:
            // Like the registry, an existing value keeps the case its name was first written in.
            return "INSERT INTO registry_values (key_path, name, value) VALUES (?1, ?2, ?3)"
                   " ON CONFLICT (key_path, name) DO UPDATE SET value = excluded.value";
        case Sql::DropValue:
            return "DELETE FROM registry_values WHERE key_path = ?1 AND name = ?2";
        case Sql::DropKey:
            return "DELETE FROM registry_values"
                   " WHERE key_path >= ?1 AND key_path < ?3 AND (key_path = ?1 OR key_path >= ?2)";
        case Sql::ListKey:
            return "SELECT key_path, name, value FROM registry_values"
                   " WHERE key_path >= ?1 AND key_path < ?3 AND (key_path = ?1 OR key_path >= ?2)"
                   " ORDER BY key_path, name";
        case Sql::ListAll:
            return "SELECT key_path, name, value FROM registry_values ORDER BY key_path, name";
    }
    return "";
}

QString lastSystemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

QString folderError(const char* what, const QByteArray& folder) {
    return QStringLiteral("%1 %2: %3")
        .arg(QString::fromLatin1(what), QFile::decodeName(folder), lastSystemError());
}

// Creates `folder` and any missing parents, private to the user. A folder that exists keeps
// its mode: it may be the user's own ~/.config or a place the user chose.
bool makeFolder(const QByteArray& folder, QString& error) {
    struct stat info {};
    if (::stat(folder.constData(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            return true;
        }
        errno = ENOTDIR;
        error = folderError("cannot create the folder", folder);
        return false;
    }
    if (errno != ENOENT) {
        error = folderError("cannot reach the folder", folder);
        return false;
    }
    const qsizetype slash = folder.lastIndexOf('/');
    if (slash > 0 && !makeFolder(folder.left(slash), error)) {
        return false;
    }
    if (::mkdir(folder.constData(), kFolderMode) != 0) {
        if (errno == EEXIST) {  // another process was quicker
            return true;
        }
        error = folderError("cannot create the folder", folder);
        return false;
    }
    // The umask may have taken bits away; the mode must be exactly the private one.
    ::chmod(folder.constData(), kFolderMode);
    return true;
}

// Creates the file before SQLite sees it, so it is never readable by others, not even for a
// moment; SQLite gives its -wal and -shm files the same mode.
bool makePrivateFile(const QByteArray& file, QString& error) {
    const int fd = ::open(file.constData(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode);
    if (fd < 0) {
        error = lastSystemError();
        return false;
    }
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0;
    if (!ok) {
        error = lastSystemError();
    }
    if (ok && !S_ISREG(info.st_mode)) {
        error = QStringLiteral("not a regular file");
        ok = false;
    }
    // The store holds the database password: tighten a file that an older copy or the user
    // left readable to others.
    if (ok && (info.st_mode & 07777) != kFileMode && info.st_uid == ::geteuid()) {
        ::fchmod(fd, kFileMode);
    }
    ::close(fd);
    return ok;
}

}  // namespace

RegistryDatabase::Statement::Statement(RegistryDatabase& owner, std::unique_lock<std::mutex> lock,
                                       sqlite3_stmt* stmt)
    : owner_(owner), lock_(std::move(lock)), stmt_(stmt) {}

RegistryDatabase::Statement::~Statement() {
    if (stmt_ != nullptr) {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
}

bool RegistryDatabase::Statement::bind(int index, const QString& text) {
    // UTF-8 with an explicit length keeps NUL characters; an empty text must not bind a null
    // pointer, which SQLite would store as NULL.
    const QByteArray utf8 = text.toUtf8();
    const char* data = utf8.isEmpty() ? "" : utf8.constData();
    if (sqlite3_bind_text(stmt_, index, data, static_cast<int>(utf8.size()), SQLITE_TRANSIENT) !=
        SQLITE_OK) {
        owner_.recordSqliteErrorLocked();
        return false;
    }
    return true;
}

bool RegistryDatabase::Statement::bind(int index, std::int64_t number) {
    if (sqlite3_bind_int64(stmt_, index, number) != SQLITE_OK) {
        owner_.recordSqliteErrorLocked();
        return false;
    }
    return true;
}

RegistryDatabase::Step RegistryDatabase::Statement::step() {
    switch (sqlite3_step(stmt_)) {
        case SQLITE_ROW:
            return Step::Row;
        case SQLITE_DONE:
            return Step::Done;
        default:
            owner_.recordSqliteErrorLocked();
            return Step::Failed;
    }
}

QString RegistryDatabase::Statement::text(int column) const {
    // Text first, then its length: the call order SQLite documents.
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    const int bytes = sqlite3_column_bytes(stmt_, column);
    return QString::fromUtf8(data, bytes);
}

QVariant RegistryDatabase::Statement::value(int column) const {
    if (!isNumber(column)) {
        return text(column);
    }
    const std::int64_t number = sqlite3_column_int64(stmt_, column);
    if (number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max()) {
        return QVariant(static_cast<int>(number));
    }
    return QVariant(static_cast<qlonglong>(number));
}

bool RegistryDatabase::Statement::isNumber(int column) const {
    return sqlite3_column_type(stmt_, column) == SQLITE_INTEGER;
}

int RegistryDatabase::Statement::changes() const {
    return sqlite3_changes(sqlite3_db_handle(stmt_));
}

RegistryDatabase::RegistryDatabase(QString path) : path_(std::move(path)) {}

RegistryDatabase::~RegistryDatabase() {
    const std::lock_guard lock(mutex_);
    closeLocked();
}

QString RegistryDatabase::lastError() const {
    const std::lock_guard lock(mutex_);
    return lastError_;
}

RegistryDatabase::Statement RegistryDatabase::statement(Sql which) {
    std::unique_lock lock(mutex_);
    if (db_ == nullptr && !openLocked()) {
        return Statement(*this, std::move(lock), nullptr);
    }
    sqlite3_stmt*& cached = statements_[static_cast<std::size_t>(which)];
    if (cached == nullptr) {
        if (sqlite3_prepare_v3(db_, sqlText(which), -1, SQLITE_PREPARE_PERSISTENT, &cached,
                               nullptr) != SQLITE_OK) {
            recordSqliteErrorLocked();
            cached = nullptr;
        }
    }
    return Statement(*this, std::move(lock), cached);
}

bool RegistryDatabase::openLocked() {
    const QByteArray file = QFile::encodeName(path_);
    if (file.isEmpty()) {
        lastError_ = QStringLiteral("no path for the store");
        return false;
    }
    const qsizetype slash = file.lastIndexOf('/');
    if (slash > 0 && !makeFolder(file.left(slash), lastError_)) {
        return false;
    }
    if (!makePrivateFile(file, lastError_)) {
        return false;
    }
    // mutex_ serialises every use of the connection, so SQLite's own mutex is not needed.
    const int opened = sqlite3_open_v2(file.constData(), &db_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (opened == SQLITE_OK) {
        sqlite3_busy_timeout(db_, kBusyTimeoutMs);
        if (sqlite3_exec(db_, kSetup, nullptr, nullptr, nullptr) == SQLITE_OK) {
            return true;
        }
    }
    if (db_ != nullptr) {
        recordSqliteErrorLocked();
    } else {
        lastError_ = QString::fromUtf8(sqlite3_errstr(opened));
    }
    closeLocked();
    return false;
}

void RegistryDatabase::closeLocked() {
    for (sqlite3_stmt*& stmt : statements_) {
        sqlite3_finalize(stmt);
        stmt = nullptr;
    }
    sqlite3_close_v2(db_);
    db_ = nullptr;
}

void RegistryDatabase::recordSqliteErrorLocked() {
    lastError_ = QString::fromUtf8(sqlite3_errmsg(db_));
}

}  // namespace hvx
