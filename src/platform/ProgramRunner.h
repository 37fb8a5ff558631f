#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace hvx {

struct ProgramOutcome {
    bool started = false;
    // Still running when the wait ended; it is left to run.
    bool stillRunning = false;
    // None when it did not end normally (not started, still running, ended by a signal).
    std::optional<int> exitCode;
    // Why it could not be started, or the first line it wrote on standard error.
    QString message;
};

// Runs a program that hands something over to the desktop (a mail composer) and tells how it
// ended. Program and arguments go to it as they are, without a shell. Window events keep
// running while it waits (the operator's input excepted).
class ProgramRunner {
  public:
    virtual ~ProgramRunner() = default;
    virtual ProgramOutcome run(const QString& program, const QStringList& arguments,
                               int waitMilliseconds) = 0;
};

}  // namespace hvx
