#pragma once

#include "platform/Environment.h"
#include "platform/RegistryStore.h"

#include <QString>

#include <memory>

namespace hvx {

class RegistryDatabase;

// The per-user store in one SQLite file (WAL journal, mode 0600 in a 0700 folder). The stores
// made by one factory share one connection with prepared statements; every read sees the last
// committed write of any process.
class SqliteRegistryStore final : public RegistryStore {
  public:
    explicit SqliteRegistryStore(std::shared_ptr<RegistryDatabase> database);
    ~SqliteRegistryStore() override;

    // $HVX_REGISTRY when set, else $XDG_CONFIG_HOME (default ~/.config) /halvex/registry.sqlite3.
    static QString defaultPath();
    // Stores on the file at `path`, opened on first use and shared by every store it makes.
    // Making a store throws RuntimeError 429 when the file cannot be used, and once after a
    // damaged file was put aside (see RegistryDatabase::ensureUsable).
    static Factory<RegistryStore> factory(const QString& path);

    int QueryValue(std::uint32_t hive, const QString& keyPath, const QString& name, QVariant& value,
                   int& type) override;
    int SetValue(std::uint32_t hive, const QString& keyPath, const QString& name,
                 const QVariant& value, int type, bool createKey) override;
    int DropValue(std::uint32_t hive, const QString& keyPath, const QString& name) override;
    int DropKey(std::uint32_t hive, const QString& keyPath) override;
    int ListValues(std::uint32_t hive, const QString& keyPath,
                   std::vector<Entry>& entries) override;
    int ListOwnValues(std::uint32_t hive, const QString& keyPath,
                      std::vector<Entry>& entries) override;
    std::optional<std::uint64_t> ChangeCount() override;

  private:
    std::shared_ptr<RegistryDatabase> database_;
};

}  // namespace hvx
