#pragma once

#include "platform/Environment.h"
#include "platform/ProductComponents.h"

namespace hvx {

// The user's working folder: the value "Folder" under RegistryPath in the store when it is
// set, otherwise $XDG_DATA_HOME/halvex/help-desk (default ~/.local/share). The folder is
// created when missing; the answer is empty when it cannot be made or written.
class StoreLocalFolder final : public LocalFolder {
  public:
    explicit StoreLocalFolder(Factory<RegistryStore> store);

    void SetRegistryPath(const QString& path) override { registryPath_ = path; }
    QString GetLocalFolder() override;

  private:
    Factory<RegistryStore> store_;
    QString registryPath_;
};

}  // namespace hvx
