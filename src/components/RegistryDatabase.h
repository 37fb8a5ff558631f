#pragma once

#include <QByteArray>
#include <QString>
#include <QUtf8StringView>
#include <QVariant>

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;
struct stat;

namespace hvx {

// One connection to the store's SQLite file, shared by every SqliteRegistryStore of a factory.
// The file is opened on first use (and again on a later use when that failed), its folder and
// the file itself created private to the user. Values are never cached: each statement reads
// the last committed state of the file. Safe to use from several threads: statements are
// serialised on one lock, so a thread must not hold two statements at once.
//
// A damaged file (not a database, or corrupt) is never deleted: it is renamed aside with a
// time stamp, together with its journal, and a fresh store takes its place. Every process
// that uses the store notices when the file at the path is no longer the one it has open
// (another process put it aside, or someone replaced it) and opens the new one.
class RegistryDatabase {
  public:
    // Parameters: ?1 key path, ?2 value name (or, for the key statements, the lower bound of
    // the keys below ?1), ?3 the value (or the upper bound of the keys below ?1).
    enum class Sql : std::size_t {
        Query,
        Upsert,
        DropValue,
        DropKey,
        ListKey,
        ListAll,
        ListOwn,
        DataVersion,
    };
    static constexpr std::size_t kSqlCount = 8;

    enum class Step { Row, Done, Failed };

    // A prepared statement held for one use: it keeps the connection locked, and is reset and
    // its bindings cleared when it goes out of scope. False when the file cannot be opened.
    class Statement {
      public:
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;
        ~Statement();

        explicit operator bool() const { return stmt_ != nullptr; }

        // False (and the reason recorded) when SQLite refuses the binding.
        bool bind(int index, const QString& text);
        bool bind(int index, std::int64_t number);
        // A failure is recorded as the database's last error.
        Step step();
        QString text(int column) const;
        // The column as text, valid until the next step (numbers as decimal text).
        QUtf8StringView utf8(int column) const;
        // The column as SQLite holds it: a number (int when it fits) or text.
        QVariant value(int column) const;
        bool isNumber(int column) const;
        // Rows changed by the last statement that stepped to its end.
        int changes() const;

      private:
        friend class RegistryDatabase;
        Statement(RegistryDatabase& owner, std::unique_lock<std::mutex> lock, sqlite3_stmt* stmt);

        RegistryDatabase& owner_;
        std::unique_lock<std::mutex> lock_;
        sqlite3_stmt* stmt_;
    };

    explicit RegistryDatabase(QString path);
    ~RegistryDatabase();
    RegistryDatabase(const RegistryDatabase&) = delete;
    RegistryDatabase& operator=(const RegistryDatabase&) = delete;

    const QString& path() const { return path_; }

    // Makes sure the store can be used: opens the file, or opens it again when it has been
    // replaced or damaged since. Throws RuntimeError 429 naming the file and the reason when
    // it cannot be used, and once after this process found it damaged and put it aside (or
    // found its open file replaced by a fresh store that another process made from a damaged
    // one): the store is usable again after that error.
    void ensureUsable();
    // Why the last open or statement failed; empty when nothing has failed yet.
    QString lastError() const;

    Statement statement(Sql which);
    // Moves whenever the store changes: a write of this connection, a commit of another one,
    // the file opened anew. Unique in the process, so counts of two files never coincide.
    // Empty when the file cannot be read.
    std::optional<std::uint64_t> changeCount();

  private:
    // Why an open failed, and whether it was the file's contents that were at fault.
    enum class OpenFailure { None, Unusable, Damaged };

    bool openLocked();
    OpenFailure tryOpenLocked();
    void closeLocked();
    void recordSqliteErrorLocked();
    bool openFileReplacedLocked() const;
    bool headerDamagedLocked(const struct stat& info);
    void putDamagedFileAsideLocked();
    void readRecoveryNoteLocked();
    void noteChangeLocked();

    const QString path_;
    // The path as the system takes it, encoded once: every use of the store checks it.
    const QByteArray file_;
    mutable std::mutex mutex_;
    sqlite3* db_ = nullptr;
    std::array<sqlite3_stmt*, kSqlCount> statements_{};
    QString lastError_;
    // The file that is open (device, inode), and its size and change time when last looked at.
    std::uint64_t device_ = 0;
    std::uint64_t inode_ = 0;
    std::int64_t seenSize_ = -1;
    std::int64_t seenChange_ = -1;
    // A statement found the file corrupt: the next ensureUsable() puts it aside.
    bool damaged_ = false;
    // The one-time error to raise after a damaged file was put aside.
    QString notice_;
    // The count changeCount() answers, and SQLite's data version when it was last asked.
    std::uint64_t changeCount_ = 0;
    std::int64_t dataVersion_ = -1;
};

}  // namespace hvx
