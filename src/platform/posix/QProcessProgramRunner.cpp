#include "QProcessProgramRunner.h"

#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <memory>

namespace hvx {

namespace {

constexpr qsizetype kLongestMessage = 300;

QString firstLine(const QByteArray& output) {
    const QString text = QString::fromLocal8Bit(output).trimmed();
    return text.section(QLatin1Char('\n'), 0, 0).trimmed().left(kLongestMessage);
}

}  // namespace

ProgramOutcome QProcessProgramRunner::run(const QString& program, const QStringList& arguments,
                                          int waitMilliseconds) {
    auto process = std::make_unique<QProcess>();
    process->setProgram(program);
    process->setArguments(arguments);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardInputFile(QProcess::nullDevice());

    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(process.get(), &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(process.get(), &QProcess::errorOccurred, &loop,
                     [&loop](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             loop.quit();
                         }
                     });
    process->start();
    if (process->error() != QProcess::FailedToStart) {
        deadline.start(waitMilliseconds);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }

    ProgramOutcome outcome;
    if (process->error() == QProcess::FailedToStart) {
        outcome.message = process->errorString();
        return outcome;
    }
    outcome.started = true;
    if (process->state() != QProcess::NotRunning) {
        outcome.stillRunning = true;
        QProcess* running = process.release();
        QObject::connect(running, &QProcess::finished, running, &QObject::deleteLater);
        return outcome;
    }
    if (process->exitStatus() == QProcess::NormalExit) {
        outcome.exitCode = process->exitCode();
    }
    outcome.message = firstLine(process->readAllStandardError());
    return outcome;
}

}  // namespace hvx
