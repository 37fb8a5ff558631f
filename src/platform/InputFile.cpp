#include "InputFile.h"

#include "RuntimeError.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hvx {

namespace {

[[noreturn]] void fail(long number, const QString& reason) {
    throw RuntimeError(number, standardErrorDescription(number) + QStringLiteral(": ") + reason);
}

[[noreturn]] void failFromErrno(int error) {
    const QString reason = QString::fromLocal8Bit(std::strerror(error));
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            fail(err::FileNotFound, reason);
        case EACCES:
        case EPERM:
            fail(err::PermissionDenied, reason);
        default:
            fail(err::PathFileAccessError, reason);
    }
}

// Closes the descriptor on every way out.
struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

}  // namespace

QByteArray readInputFile(const QString& path) {
    // Not blocking: opening a FIFO for reading would otherwise wait for a writer. The type is
    // checked on the open descriptor, so nothing can be swapped in between.
    const Descriptor file{
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)};
    if (file.fd < 0) {
        failFromErrno(errno);
    }
    struct stat info {};
    if (::fstat(file.fd, &info) != 0) {
        failFromErrno(errno);
    }
    if (!S_ISREG(info.st_mode)) {
        fail(err::PathFileAccessError, QStringLiteral("not a regular file"));
    }
    if (info.st_size > kMaxInputFileBytes) {
        fail(err::PathFileAccessError, QStringLiteral("larger than 1 MiB"));
    }
    // The size may change while it is read: never take more than the limit and one byte.
    QByteArray content(static_cast<qsizetype>(info.st_size) + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < content.size()) {
        const ssize_t got =
            ::read(file.fd, content.data() + filled, static_cast<size_t>(content.size() - filled));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            failFromErrno(errno);
        }
        if (got == 0) {
            break;
        }
        filled += got;
        if (filled > kMaxInputFileBytes) {
            fail(err::PathFileAccessError, QStringLiteral("larger than 1 MiB"));
        }
        if (filled == content.size()) {
            content.resize(std::min<qsizetype>(content.size() * 2, kMaxInputFileBytes + 1));
        }
    }
    content.truncate(filled);
    return content;
}

}  // namespace hvx
