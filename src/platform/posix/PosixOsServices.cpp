#include "PosixOsServices.h"

#include <unistd.h>
#include <climits>

namespace hvx {

std::optional<QString> HostComputerInfo::computerName() const {
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0 || buffer[0] == '\0') {
        return std::nullopt;
    }
    return QString::fromLocal8Bit(buffer);
}

SocketInstanceGuard::SocketInstanceGuard(const QString& executablePath)
    : name_("instance", executablePath) {}

bool SocketInstanceGuard::anotherCopyRunning() {
    return !name_.claim();
}

}  // namespace hvx
