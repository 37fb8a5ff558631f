// Delivery to the terminals of a user logged in on this computer, the way write(1) does it.
#include "Alert.h"

#include <QSet>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utmpx.h>
#include <cerrno>
#include <cstring>

namespace hvx::netsend {

namespace {

QByteArray field(const char* text, std::size_t size) {
    return QByteArray(text, static_cast<qsizetype>(strnlen(text, size)));
}

// The terminal lines of the user's login records, each once.
QList<QByteArray> terminalsOf(const QByteArray& user) {
    QList<QByteArray> lines;
    QSet<QByteArray> seen;
    if (qEnvironmentVariableIsSet("HVX_UTMP")) {
        utmpxname(qgetenv("HVX_UTMP").constData());
    }
    setutxent();
    while (const utmpx* entry = getutxent()) {
        if (entry->ut_type != USER_PROCESS ||
            field(entry->ut_user, sizeof entry->ut_user) != user) {
            continue;
        }
        const QByteArray line = field(entry->ut_line, sizeof entry->ut_line);
        if (!line.isEmpty() && !seen.contains(line)) {
            seen.insert(line);
            lines.append(line);
        }
    }
    endutxent();
    return lines;
}

QString errnoText(int number) {
    return QString::fromLocal8Bit(std::strerror(number));
}

// Empty when the whole text went to the terminal, else why not.
QString writeToTerminal(const QByteArray& line, const QByteArray& text) {
    if (line.startsWith('/') || line.contains("..")) {
        return QStringLiteral("not a terminal line");
    }
    const QByteArray path = "/dev/" + line;
    const int fd = ::open(path.constData(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return errnoText(errno);
    }
    QString problem;
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISCHR(status.st_mode) || ::isatty(fd) == 0) {
        problem = QStringLiteral("not a terminal");
    } else if ((status.st_mode & S_IWGRP) == 0) {
        problem = QStringLiteral("the user has messages turned off (mesg n)");
    } else {
        qsizetype written = 0;
        while (written < text.size()) {
            const ssize_t n =
                ::write(fd, text.constData() + written, static_cast<size_t>(text.size() - written));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                problem = errnoText(n < 0 ? errno : EIO);
                break;
            }
            written += n;
        }
    }
    ::close(fd);
    return problem;
}

}  // namespace

Outcome deliverToTerminals(const QString& user, const Alert& alert) {
    const QList<QByteArray> lines = terminalsOf(user.toLocal8Bit());
    if (lines.isEmpty()) {
        return {false, user + QStringLiteral(" is not logged in on this computer")};
    }
    const QByteArray text = "\r\n\aAlert from the Help Desk Monitor on " +
                            alert.computer.toLocal8Bit() + " at " +
                            alert.time.toString(QStringLiteral("HH:mm")).toLatin1() + " ...\r\n" +
                            terminalText(alert.text) + "\r\n";
    QStringList problems;
    bool delivered = false;
    for (const QByteArray& line : lines) {
        const QString problem = writeToTerminal(line, text);
        if (problem.isEmpty()) {
            delivered = true;
        } else {
            problems.append(QString::fromLocal8Bit(line) + QStringLiteral(": ") + problem);
        }
    }
    return {delivered, problems.join(QStringLiteral("; "))};
}

}  // namespace hvx::netsend
