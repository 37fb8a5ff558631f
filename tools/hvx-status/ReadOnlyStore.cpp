#include "ReadOnlyStore.h"

#include <QFile>

#include <sqlite3.h>

#include <utility>

namespace hvx {

namespace {

// Long enough to outwait a writer's commit, short enough for a monitoring check.
constexpr int kBusyTimeoutMs = 3000;

}  // namespace

ReadOnlyStore::ReadOnlyStore(QString path) : path_(std::move(path)) {}

ReadOnlyStore::~ReadOnlyStore() {
    sqlite3_finalize(query_);
    if (db_ != nullptr) {
        sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
    }
    sqlite3_close_v2(db_);
}

bool ReadOnlyStore::open() {
    if (path_.isEmpty()) {
        error_ = QStringLiteral("no path for the store");
        return false;
    }
    // Without SQLITE_OPEN_CREATE a missing file stays missing.
    const int opened = sqlite3_open_v2(QFile::encodeName(path_).constData(), &db_,
                                       SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    if (opened != SQLITE_OK) {
        error_ = db_ != nullptr ? QString::fromUtf8(sqlite3_errmsg(db_))
                                : QString::fromUtf8(sqlite3_errstr(opened));
        return false;
    }
    sqlite3_busy_timeout(db_, kBusyTimeoutMs);
    // The last connection to close would otherwise fold the journal into the file.
    sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // Preparing reads the schema, so a file that is no store (or no database) fails here.
    if (sqlite3_exec(db_, "BEGIN", nullptr, nullptr, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(db_,
                           "SELECT value FROM registry_values WHERE key_path = ?1 AND name = ?2",
                           -1, &query_, nullptr) != SQLITE_OK) {
        recordError();
        return false;
    }
    return true;
}

std::optional<QString> ReadOnlyStore::value(const QString& keyPath, const QString& name,
                                            const QString& fallback) {
    if (query_ == nullptr) {
        return std::nullopt;
    }
    const QByteArray key = keyPath.toUtf8();
    const QByteArray valueName = name.toUtf8();
    sqlite3_reset(query_);
    if (sqlite3_bind_text(query_, 1, key.constData(), static_cast<int>(key.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK ||
        sqlite3_bind_text(query_, 2, valueName.constData(), static_cast<int>(valueName.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK) {
        recordError();
        return std::nullopt;
    }
    switch (sqlite3_step(query_)) {
        case SQLITE_ROW: {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(query_, 0));
            return QString::fromUtf8(text, sqlite3_column_bytes(query_, 0));
        }
        case SQLITE_DONE:
            return fallback;
        default:
            recordError();
            return std::nullopt;
    }
}

void ReadOnlyStore::recordError() {
    error_ = QString::fromUtf8(sqlite3_errmsg(db_));
}

}  // namespace hvx
