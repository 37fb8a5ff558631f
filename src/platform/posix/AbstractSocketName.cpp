#include "AbstractSocketName.h"

#include <QCryptographicHash>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace hvx {

namespace {

constexpr qsizetype kMaxPlainSession = 32;

// Fills `address` for an abstract name (a leading NUL, no terminator) and returns its length.
socklen_t abstractAddress(const QByteArray& name, sockaddr_un& address) {
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    const auto length =
        std::min<std::size_t>(static_cast<std::size_t>(name.size()), sizeof address.sun_path - 1);
    std::memcpy(address.sun_path + 1, name.constData(), length);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
}

}  // namespace

AbstractSocketName::AbstractSocketName(const char* kind, const QString& key) {
    const QByteArray hash =
        QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex().left(32);
    // A long session text is hashed rather than cut: sessions that only differ after the
    // first few characters (test names) must not meet. Either way the name fits sun_path.
    QByteArray session = qgetenv("HVX_SESSION");
    if (session.size() > kMaxPlainSession) {
        session = QCryptographicHash::hash(session, QCryptographicHash::Sha256)
                      .toHex()
                      .left(kMaxPlainSession);
    }
    name_ = "hvx/" + QByteArray::number(getuid()) + '/' + session + '/' + kind + '/' + hash;
}

AbstractSocketName::~AbstractSocketName() {
    release();
}

bool AbstractSocketName::claim() {
    if (fd_ >= 0) {
        return true;
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_un address{};
    const socklen_t length = abstractAddress(name_, address);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        ::listen(fd, 4) != 0) {
        ::close(fd);
        return false;
    }
    fd_ = fd;
    return true;
}

void AbstractSocketName::release() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool AbstractSocketName::existsElsewhere() const {
    return AbstractSocketProbe().held(*this);
}

AbstractSocketProbe::~AbstractSocketProbe() {
    drop();
}

void AbstractSocketProbe::drop() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
    fd_ = -1;
    connectedTo_.clear();
}

bool AbstractSocketProbe::held(const AbstractSocketName& name) {
    if (!connectedTo_.isEmpty()) {
        // The holder never accepts; when it lets the name go, the kernel drops the waiting
        // connection and says so at once.
        pollfd connection{fd_, 0, 0};
        if (connectedTo_ == name.name() && ::poll(&connection, 1, 0) == 0) {
            return true;
        }
        drop();
    }
    if (fd_ < 0) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd_ < 0) {
            return false;
        }
    }
    sockaddr_un address{};
    const socklen_t length = abstractAddress(name.name(), address);
    if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
        connectedTo_ = name.name();
        return true;
    }
    const int error = errno;
    // Refused (nobody holds it) and full (held) leave the socket unconnected, as it was.
    if (error != ECONNREFUSED && error != EAGAIN) {
        drop();
    }
    return error == EAGAIN || error == EINPROGRESS;
}

}  // namespace hvx
