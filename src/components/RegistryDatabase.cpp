#include "RegistryDatabase.h"

#include "platform/RuntimeError.h"

#include <QByteArray>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hvx {

namespace {

constexpr int kBusyTimeoutMs = 5000;
constexpr int kBusyRetryMs = 10;
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

// Two processes starting on a fresh file both switch it to WAL and create the table, and the
// loser must wait instead of failing (the busy time-out, and execPatiently). NOCASE folds ASCII
// only, which is how the registry compares key paths and value names. The value column has no
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

// The first 16 bytes of every SQLite database file.
constexpr char kSqliteHeader[] = "SQLite format 3";
constexpr std::size_t kSqliteHeaderSize = sizeof kSqliteHeader;

// Written into a fresh store that replaced a damaged one, so that the other processes that
// used the damaged file can tell their operator too.
constexpr const char* kCreateRecovery =
    "CREATE TABLE IF NOT EXISTS store_recovery (kept_as TEXT NOT NULL, reason TEXT NOT NULL)";
constexpr const char* kRecordRecovery =
    "INSERT INTO store_recovery (kept_as, reason) VALUES (?1, ?2)";
constexpr const char* kReadRecovery =
    "SELECT kept_as, reason FROM store_recovery ORDER BY rowid DESC LIMIT 1";

QString damageNotice(const QString& path, const QString& reason, const QString& keptAs) {
    return QStringLiteral(
               "The store %1 was damaged (%2). It is kept as %3, and a fresh store is "
               "in use: the values it held are gone.")
        .arg(path, reason, keptAs);
}

// Runs `sql`, trying again while another connection holds the file for a moment: SQLite skips
// its busy wait where waiting could deadlock, for example when it changes the journal mode of
// a new store that another process is setting up at the same time. Every statement run so is
// harmless to repeat.
int execPatiently(sqlite3* db, const char* sql, sqlite3_callback callback, void* argument) {
    const QDeadlineTimer deadline(kBusyTimeoutMs);
    int result = sqlite3_exec(db, sql, callback, argument, nullptr);
    while ((result & 0xff) == SQLITE_BUSY && !deadline.hasExpired()) {
        sqlite3_sleep(kBusyRetryMs);
        result = sqlite3_exec(db, sql, callback, argument, nullptr);
    }
    return result;
}

bool isDamage(int sqliteCode) {
    const int primary = sqliteCode & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

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
        case Sql::ListOwn:
            return "SELECT name, value FROM registry_values WHERE key_path = ?1";
        case Sql::DataVersion:
            return "PRAGMA data_version";
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
// moment; SQLite gives its -wal and -shm files the same mode. `info` is the file's status.
bool makePrivateFile(const QByteArray& file, QString& error, struct stat& info) {
    const int fd = ::open(file.constData(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode);
    if (fd < 0) {
        error = lastSystemError();
        return false;
    }
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

std::int64_t changeTime(const struct stat& info) {
    return std::int64_t{info.st_ctim.tv_sec} * 1'000'000'000 + info.st_ctim.tv_nsec;
}

// Serialises putting a damaged file aside between processes: a folder lock, since the
// file itself is what moves. Released when it goes out of scope.
class FolderLock {
  public:
    explicit FolderLock(const QByteArray& file) {
        const qsizetype slash = file.lastIndexOf('/');
        const QByteArray folder = slash > 0 ? file.left(slash) : QByteArray(slash == 0 ? "/" : ".");
        fd_ = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd_ >= 0) {
            ::flock(fd_, LOCK_EX);
        }
    }
    ~FolderLock() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    int fd_ = -1;
};

// Renames `from` to `to` when `from` exists; false only when it exists and stays.
bool moveIfPresent(const QByteArray& from, const QByteArray& to) {
    return ::rename(from.constData(), to.constData()) == 0 || errno == ENOENT;
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

QUtf8StringView RegistryDatabase::Statement::utf8(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    return {data, sqlite3_column_bytes(stmt_, column)};
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

RegistryDatabase::RegistryDatabase(QString path)
    : path_(std::move(path)), file_(QFile::encodeName(path_)) {}

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
    if (which == Sql::Upsert || which == Sql::DropValue || which == Sql::DropKey) {
        noteChangeLocked();
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

std::optional<std::uint64_t> RegistryDatabase::changeCount() {
    Statement version = statement(Sql::DataVersion);
    if (!version || version.step() != Step::Row) {
        return std::nullopt;
    }
    // SQLite's data version moves on the commits of other connections only.
    const std::int64_t now = version.value(0).toLongLong();
    if (now != dataVersion_) {
        dataVersion_ = now;
        noteChangeLocked();
    }
    return changeCount_;
}

void RegistryDatabase::noteChangeLocked() {
    static std::atomic<std::uint64_t> changes{0};
    changeCount_ = ++changes;
}

void RegistryDatabase::ensureUsable() {
    const std::lock_guard lock(mutex_);
    // Set when another process may have put a damaged file aside: its note tells why.
    bool replaced = false;
    if (db_ != nullptr) {
        struct stat info {};
        const bool present = ::stat(file_.constData(), &info) == 0;
        if (!present || info.st_dev != device_ || info.st_ino != inode_) {
            closeLocked();
            replaced = true;
        } else if (damaged_ || headerDamagedLocked(info)) {
            closeLocked();
            putDamagedFileAsideLocked();
            replaced = notice_.isEmpty();
        }
    }
    if (db_ == nullptr && !openLocked()) {
        throw RuntimeError(
            err::CannotCreateComponent,
            QStringLiteral("The store %1 cannot be used: %2").arg(path_, lastError_));
    }
    if (replaced && notice_.isEmpty()) {
        readRecoveryNoteLocked();
    }
    if (!notice_.isEmpty()) {
        throw RuntimeError(err::CannotCreateComponent, std::exchange(notice_, QString()));
    }
}

bool RegistryDatabase::openLocked() {
    if (tryOpenLocked() == OpenFailure::Damaged) {
        putDamagedFileAsideLocked();
        if (db_ == nullptr) {
            tryOpenLocked();
        }
        if (db_ != nullptr && notice_.isEmpty()) {
            readRecoveryNoteLocked();  // another process was quicker
        }
    }
    return db_ != nullptr;
}

RegistryDatabase::OpenFailure RegistryDatabase::tryOpenLocked() {
    damaged_ = false;
    const QByteArray& file = file_;
    if (file.isEmpty()) {
        lastError_ = QStringLiteral("no path for the store");
        return OpenFailure::Unusable;
    }
    const qsizetype slash = file.lastIndexOf('/');
    if (slash > 0 && !makeFolder(file.left(slash), lastError_)) {
        return OpenFailure::Unusable;
    }
    struct stat info {};
    if (!makePrivateFile(file, lastError_, info)) {
        return OpenFailure::Unusable;
    }
    device_ = info.st_dev;
    inode_ = info.st_ino;
    seenSize_ = info.st_size;
    seenChange_ = changeTime(info);
    // Memory statistics take a process-wide lock on every allocation, and nothing here reads
    // them. SQLite accepts the setting only before its first use in the process; later it
    // refuses, which changes nothing.
    static const int statistics = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    Q_UNUSED(statistics);
    // mutex_ serialises every use of the connection, so SQLite's own mutex is not needed.
    const int opened = sqlite3_open_v2(file.constData(), &db_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (opened != SQLITE_OK) {
        lastError_ = QString::fromUtf8(sqlite3_errstr(opened));
        closeLocked();
        return isDamage(opened) ? OpenFailure::Damaged : OpenFailure::Unusable;
    }
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
    // A truncated file passes the set-up and fails only on the pages it lost: the quick check
    // reads them all once, which costs little on a store of this size.
    QString verdict;
    const auto collect = [](void* target, int, char** values, char**) {
        auto* text = static_cast<QString*>(target);
        if (text->isEmpty() && values[0] != nullptr) {
            *text = QString::fromUtf8(values[0]);
        }
        return 0;
    };
    if (execPatiently(db_, kSetup, nullptr, nullptr) != SQLITE_OK ||
        execPatiently(db_, "PRAGMA quick_check(1)", collect, &verdict) != SQLITE_OK) {
        const bool damage = isDamage(sqlite3_extended_errcode(db_));
        recordSqliteErrorLocked();
        closeLocked();
        return damage ? OpenFailure::Damaged : OpenFailure::Unusable;
    }
    if (verdict != QLatin1String("ok")) {
        lastError_ = verdict;
        damaged_ = true;
        closeLocked();
        return OpenFailure::Damaged;
    }
    noteChangeLocked();
    return OpenFailure::None;
}

bool RegistryDatabase::openFileReplacedLocked() const {
    struct stat info {};
    return ::stat(file_.constData(), &info) != 0 || info.st_dev != device_ || info.st_ino != inode_;
}

// SQLite trusts its page cache while the journal says nothing changed, so a file overwritten
// under it would go unnoticed: its header is checked whenever its size or change time moved.
bool RegistryDatabase::headerDamagedLocked(const struct stat& info) {
    if (info.st_size == seenSize_ && changeTime(info) == seenChange_) {
        return false;
    }
    // Read through SQLite's own descriptor: closing one of our own on the file would drop every
    // POSIX lock this process holds on it, SQLite's included, and another process closing its
    // connection would then take itself for the last one and remove the journal under us.
    std::array<char, kSqliteHeaderSize> header{};
    sqlite3_file* file = nullptr;
    const bool read =
        sqlite3_file_control(db_, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
        file != nullptr && file->pMethods != nullptr &&
        file->pMethods->xRead(file, header.data(), static_cast<int>(header.size()), 0) == SQLITE_OK;
    if (read && std::memcmp(header.data(), kSqliteHeader, header.size()) == 0) {
        seenSize_ = info.st_size;
        seenChange_ = changeTime(info);
        return false;
    }
    lastError_ = QStringLiteral("file is not a database");
    damaged_ = true;
    return true;
}

// Under the folder lock, so that two processes that found the same damage put aside one
// file, not the damaged one and then the fresh one.
void RegistryDatabase::putDamagedFileAsideLocked() {
    const QByteArray& file = file_;
    const QString reason = lastError_;
    const FolderLock folderLock(file);
    struct stat info {};
    if (::stat(file.constData(), &info) != 0 || info.st_dev != device_ || info.st_ino != inode_) {
        return;  // another process was quicker
    }
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    QString aside = path_ + QStringLiteral(".damaged-") + stamp;
    for (int n = 2; QFile::exists(aside); ++n) {
        aside = path_ + QStringLiteral(".damaged-%1-%2").arg(stamp).arg(n);
    }
    const QByteArray asideFile = QFile::encodeName(aside);
    // The journal goes with the file: left behind, SQLite would replay the damaged store's
    // pages into the fresh one.
    if (!moveIfPresent(file, asideFile) || !moveIfPresent(file + "-wal", asideFile + "-wal") ||
        !moveIfPresent(file + "-shm", asideFile + "-shm")) {
        lastError_ =
            QStringLiteral("%1; it cannot be put aside: %2").arg(reason, lastSystemError());
        return;
    }
    notice_ = damageNotice(path_, reason, aside);
    if (tryOpenLocked() != OpenFailure::None) {
        return;
    }
    sqlite3_stmt* record = nullptr;
    if (sqlite3_exec(db_, kCreateRecovery, nullptr, nullptr, nullptr) == SQLITE_OK &&
        sqlite3_prepare_v2(db_, kRecordRecovery, -1, &record, nullptr) == SQLITE_OK) {
        const QByteArray keptAs = aside.toUtf8();
        const QByteArray why = reason.toUtf8();
        sqlite3_bind_text(record, 1, keptAs.constData(), static_cast<int>(keptAs.size()),
                          SQLITE_TRANSIENT);
        sqlite3_bind_text(record, 2, why.constData(), static_cast<int>(why.size()),
                          SQLITE_TRANSIENT);
        sqlite3_step(record);
    }
    sqlite3_finalize(record);
}

void RegistryDatabase::readRecoveryNoteLocked() {
    sqlite3_stmt* read = nullptr;
    if (sqlite3_prepare_v2(db_, kReadRecovery, -1, &read, nullptr) == SQLITE_OK &&
        sqlite3_step(read) == SQLITE_ROW) {
        const auto text = [read](int column) {
            return QString::fromUtf8(
                reinterpret_cast<const char*>(sqlite3_column_text(read, column)));
        };
        notice_ = damageNotice(path_, text(1), text(0));
    }
    sqlite3_finalize(read);
}

void RegistryDatabase::closeLocked() {
    for (sqlite3_stmt*& stmt : statements_) {
        sqlite3_finalize(stmt);
        stmt = nullptr;
    }
    // Closing the last connection checkpoints the journal into the file and deletes the
    // journal by its name. When the file was replaced or is damaged, that name belongs to the
    // fresh store's journal, and the damaged file is kept as it is.
    if (db_ != nullptr && (damaged_ || openFileReplacedLocked())) {
        sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    sqlite3_close_v2(db_);
    db_ = nullptr;
}

void RegistryDatabase::recordSqliteErrorLocked() {
    lastError_ = QString::fromUtf8(sqlite3_errmsg(db_));
    if (isDamage(sqlite3_extended_errcode(db_))) {
        damaged_ = true;
    }
}

}  // namespace hvx
