#pragma once

#include "Patience.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <unistd.h>

namespace hvx::test {

struct ToolRun {
    int code = -1;  // also when the tool did not end normally in time
    QString out;
    QString err;
    qint64 milliseconds = 0;
};

// Runs the tool `name` of the build's bin folder, with `extra` added to this process's
// environment, and waits for it while this thread's event loop keeps serving (a test's own
// server may be the tool's peer). A proxy of the machine's never stands between the tool and
// such a server. `withoutFileOverride` runs it so that file permissions bind it, as root too.
inline ToolRun runTool(const QString& name, const QStringList& arguments,
                       const QProcessEnvironment& extra = {}, const QString& folder = {},
                       bool withoutFileOverride = false) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* proxy :
         {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "all_proxy"}) {
        environment.remove(QString::fromLatin1(proxy));
    }
    environment.insert(extra);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(folder);
    const QString tool = qEnvironmentVariable("HVX_BIN_DIR") + QLatin1Char('/') + name;
    QElapsedTimer clock;
    clock.start();
    if (withoutFileOverride && ::geteuid() == 0) {
        process.start(
            QStringLiteral("setpriv"),
            QStringList{"--bounding-set=-dac_override,-dac_read_search,-fowner", "--", tool} +
                arguments);
    } else {
        process.start(tool, arguments);
    }
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kPatienceMs) ||
        process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError()), clock.elapsed()};
}

}  // namespace hvx::test
