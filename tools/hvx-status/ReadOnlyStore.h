#pragma once

#include <QString>

#include <optional>

struct sqlite3;
struct sqlite3_stmt;

namespace hvx {

// A look at the per-user store that can never change it: the file is opened read-only, never
// created, repaired, checkpointed or moved aside, so a tool that only watches cannot disturb
// the Monitor and the core application, nor hide a damaged store from them. Key paths and value
// names compare without regard to ASCII case, through the collation the store's table declares.
//
// All values read between open() and the destructor come from one moment (one read
// transaction): a State and a Status read together belong together.
class ReadOnlyStore {
  public:
    explicit ReadOnlyStore(QString path);
    ~ReadOnlyStore();
    ReadOnlyStore(const ReadOnlyStore&) = delete;
    ReadOnlyStore& operator=(const ReadOnlyStore&) = delete;

    // False, with the reason in error(), when the file is missing, is not a store or cannot
    // be read.
    bool open();
    // The value as text (a number as its decimal text), `fallback` when there is none;
    // nothing when reading fails.
    std::optional<QString> value(const QString& keyPath, const QString& name,
                                 const QString& fallback);

    const QString& path() const { return path_; }
    const QString& error() const { return error_; }

  private:
    void recordError();

    QString path_;
    QString error_;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* query_ = nullptr;
};

}  // namespace hvx
