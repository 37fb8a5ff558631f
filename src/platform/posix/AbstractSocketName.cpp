#include "AbstractSocketName.h"

#include <QCryptographicHash>

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
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_un address{};
    const socklen_t length = abstractAddress(name_, address);
    // A full backlog answers EAGAIN: the name is held all the same.
    const bool found = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0 ||
                       errno == EAGAIN || errno == EINPROGRESS;
    ::close(fd);
    return found;
}

}  // namespace hvx
