#include "OwnLogFile.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

namespace hvx {

namespace {

int flagsFor(OwnLogFile::Use use) {
    // O_NONBLOCK: a FIFO in the log's place must not hang the open.
    const int common = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    switch (use) {
        case OwnLogFile::Use::Append:
            // Read access too: the last byte tells whether a line was left unended.
            return common | O_RDWR | O_APPEND | O_CREAT;
        case OwnLogFile::Use::Read:
            return common | O_RDONLY;
        case OwnLogFile::Use::Empty:
            return common | O_WRONLY;
    }
    return common | O_RDONLY;
}

bool isTheMonitors(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           status.st_nlink == 1;
}

}  // namespace

OwnLogFile::OwnLogFile(const QString& path, Use use) {
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), flagsFor(use), S_IRUSR | S_IWUSR);
    if (fd < 0) {
        openError_ = errno;
        return;
    }
    if (!isTheMonitors(fd)) {
        ::close(fd);
        return;
    }
    fd_ = fd;
}

OwnLogFile::~OwnLogFile() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

qint64 OwnLogFile::size() const {
    struct stat status {};
    return fd_ >= 0 && ::fstat(fd_, &status) == 0 ? static_cast<qint64>(status.st_size) : 0;
}

bool OwnLogFile::appendWhole(const QByteArray& record) {
    if (fd_ < 0) {
        return false;
    }
    const off_t start = ::lseek(fd_, 0, SEEK_END);
    if (start < 0) {
        return false;
    }
    QByteArray bytes = record;
    char last = '\n';
    if (start > 0 && ::pread(fd_, &last, 1, start - 1) == 1 && last != '\n') {
        // A half line left by an older writer (or a crash) stays a line of its own.
        bytes.prepend('\n');
    }
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n =
            ::write(fd_, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            // Shrinking needs no space, so this works on a full disk too.
            while (::ftruncate(fd_, start) != 0 && errno == EINTR) {
            }
            return false;
        }
        written += n;
    }
    return true;
}

QByteArray OwnLogFile::read(qint64 offset, qint64 bytes) const {
    QByteArray data;
    if (fd_ < 0 || bytes <= 0) {
        return data;
    }
    data.resize(bytes);
    qint64 got = 0;
    while (got < bytes) {
        const ssize_t n = ::pread(fd_, data.data() + got, static_cast<size_t>(bytes - got),
                                  static_cast<off_t>(offset + got));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        got += n;
    }
    data.truncate(got);
    return data;
}

bool OwnLogFile::empty() {
    if (fd_ < 0) {
        return false;
    }
    int result = 0;
    while ((result = ::ftruncate(fd_, 0)) != 0 && errno == EINTR) {
    }
    return result == 0;
}

}  // namespace hvx
