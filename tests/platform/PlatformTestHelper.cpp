// A child process for the platform tests.
//   hold CAPTION [PIDFILE]   announces CAPTION as a window, writes its pid, prints "ready",
//                            and waits until it is killed
//   record FILE ARGS...      writes its pid, HVX_SHOW_WINDOW and ARGS as JSON into FILE

#include "platform/posix/SocketWindowDirectory.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <unistd.h>
#include <cstdio>
#include <cstring>

extern char** environ;

namespace {

bool writeFile(const QString& path, const QByteArray& content) {
    // All or nothing: the test polls for the file and must never read half of it.
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() &&
           file.commit();
}

int hold(const QStringList& arguments) {
    // The pid first: whoever sees the window may read the pid file at once.
    if (arguments.size() > 1 &&
        !writeFile(arguments[1], QByteArray::number(static_cast<qint64>(::getpid())))) {
        return 1;
    }
    hvx::SocketWindowDirectory windows;
    const auto announcement = windows.announce(arguments.value(0));
    std::puts("ready");
    std::fflush(stdout);
    for (;;) {
        ::pause();
    }
}

int record(const QStringList& arguments) {
    QJsonObject facts;
    facts[QStringLiteral("pid")] = static_cast<qint64>(::getpid());
    QJsonArray shows;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, "HVX_SHOW_WINDOW=", 16) == 0) {
            shows.append(QString::fromUtf8(*entry + 16));
        }
    }
    facts[QStringLiteral("show")] = shows;
    facts[QStringLiteral("arguments")] = QJsonArray::fromStringList(arguments.mid(1));
    return writeFile(arguments.value(0), QJsonDocument(facts).toJson()) ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString command = arguments.isEmpty() ? QString() : arguments.takeFirst();
    if (command == QLatin1String("hold")) {
        return hold(arguments);
    }
    if (command == QLatin1String("record")) {
        return record(arguments);
    }
    std::fputs("usage: platform_test_helper hold CAPTION [PIDFILE] | record FILE ARGS...\n",
               stderr);
    return 2;
}
