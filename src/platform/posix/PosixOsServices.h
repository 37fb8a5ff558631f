#pragma once

#include "AbstractSocketName.h"
#include "platform/OsServices.h"

namespace hvx {

// The computer name is the host name.
class HostComputerInfo final : public ComputerInfo {
  public:
    std::optional<QString> computerName() const override;
};

// One copy per executable path (and user and HVX_SESSION): the first copy claims the name.
class SocketInstanceGuard final : public InstanceGuard {
  public:
    explicit SocketInstanceGuard(const QString& executablePath);
    bool anotherCopyRunning() override;

  private:
    AbstractSocketName name_;
};

}  // namespace hvx
