#include "FileOperations.h"

#include "RuntimeError.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hvx {

namespace {

[[noreturn]] void failWith(int error) {
    throw RuntimeError(error, QString::fromLocal8Bit(std::strerror(error)));
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

void writeAll(int fd, const char* data, ssize_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(size));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            failWith(errno);
        }
        data += written;
        size -= written;
    }
}

}  // namespace

void copyFile(const QString& from, const QString& to) {
    const Descriptor source(
        ::open(QFile::encodeName(from).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (source.get() < 0 || ::fstat(source.get(), &info) != 0) {
        failWith(errno);
    }
    if (!S_ISREG(info.st_mode)) {
        failWith(S_ISDIR(info.st_mode) ? EISDIR : EINVAL);
    }
    const QByteArray target = QFile::encodeName(to);
    if (::unlink(target.constData()) != 0 && errno != ENOENT) {
        failWith(errno);
    }
    // Created afresh, never through a link planted at the target's name.
    const Descriptor copy(::open(target.constData(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                 info.st_mode & 0777));
    if (copy.get() < 0) {
        failWith(errno);
    }
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t got = ::read(source.get(), buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            failWith(errno);
        }
        if (got == 0) {
            break;
        }
        writeAll(copy.get(), buffer.data(), got);
    }
    if (::fsync(copy.get()) != 0) {
        failWith(errno);
    }
}

void removeFile(const QString& path) {
    if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT) {
        failWith(errno);
    }
}

}  // namespace hvx
