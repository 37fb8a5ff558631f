#pragma once

#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QString>

#include <csignal>

namespace hvx::test {

// The processes whose program lies in `folder`.
inline QList<int> programsIn(const QString& folder) {
    QList<int> found;
    const QString prefix = QFileInfo(folder).canonicalFilePath() + QLatin1Char('/');
    if (prefix.size() <= 1) {
        return found;
    }
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& pid : pids) {
        bool numeric = false;
        const int number = pid.toInt(&numeric);
        if (numeric &&
            QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget().startsWith(prefix)) {
            found.append(number);
        }
    }
    return found;
}

// Ends every process whose program lies in `folder`. A core application that a failed test
// left running would otherwise run on after the test, holding the test runner's output open
// until its time-out, and on a store of its own once the test's folder is gone.
inline void killProgramsIn(const QString& folder) {
    for (const int pid : programsIn(folder)) {
        ::kill(pid, SIGKILL);
    }
}

}  // namespace hvx::test
