#pragma once

#include <QString>
#include <QVariant>

#include <cstdint>
#include <optional>
#include <vector>

namespace hvx {

// The per-user store of named values below key paths (our registry). Key paths and value
// names compare without regard to ASCII case. Statuses are whole numbers: 0 success,
// kStatusNotFound for a missing key or value, anything else a failure of the store itself.
class RegistryStore {
  public:
    static constexpr std::uint32_t kCurrentUser = 0x80000001;
    static constexpr int kTypeString = 1;
    static constexpr int kTypeNumber = 4;
    static constexpr int kStatusOk = 0;
    static constexpr int kStatusNotFound = 2;
    static constexpr int kStatusFailure = 1;

    struct Entry {
        QString keyPath;
        QString name;
        QString value;
    };

    virtual ~RegistryStore() = default;

    // Reads afresh on every call: a value written by another process is seen by the next read.
    // A value stored as a number comes back as a number (type kTypeNumber).
    virtual int QueryValue(std::uint32_t hive, const QString& keyPath, const QString& name,
                           QVariant& value, int& type) = 0;
    // Creates the key when it is missing. `type` is kTypeString (the value's text) or
    // kTypeNumber (the value must convert to a 32-bit whole number).
    virtual int SetValue(std::uint32_t hive, const QString& keyPath, const QString& name,
                         const QVariant& value, int type, bool createKey) = 0;
    virtual int DropValue(std::uint32_t hive, const QString& keyPath, const QString& name) = 0;
    // Drops the key's values and those of every key below it.
    virtual int DropKey(std::uint32_t hive, const QString& keyPath) = 0;
    // The values of the key and of every key below it, ordered by key path and name; numbers
    // as decimal text.
    virtual int ListValues(std::uint32_t hive, const QString& keyPath,
                           std::vector<Entry>& entries) = 0;
    // The values of the key itself, not of the keys below it, as one moment of the store holds
    // them, in no particular order; numbers as decimal text. Each entry's key path is `keyPath`.
    // The strings of the entries already in `entries` are kept where they hold the same text,
    // so that a key read again and again is not copied again.
    virtual int ListOwnValues(std::uint32_t hive, const QString& keyPath,
                              std::vector<Entry>& entries) = 0;
    // A count that moves whenever anything in the store changes, whichever process changes it:
    // the same count twice means that a read in between still holds. Empty when the store
    // cannot tell; then only a fresh read holds.
    virtual std::optional<std::uint64_t> ChangeCount() = 0;
};

}  // namespace hvx
