#pragma once

#include "platform/OsServices.h"

#include <QTimer>

#include <sys/types.h>
#include <vector>

namespace hvx {

// Starts programs with posix_spawn: the program and its arguments go to the child as they
// are, no shell sees them. A program without a slash is looked up on PATH. The child gets
// this process's environment with HVX_SHOW_WINDOW set to "minimized-noactivate", "minimized"
// (with the focus) or "normal", default signal handling, and no open descriptor beyond
// standard input, output and error.
//
// The children are not waited for, but they are reaped: while any runs, a timer of the
// calling thread's event loop collects the ones that have ended, so none lingers as a zombie
// for more than about a second. Needs an event loop in the thread that calls start().
class SpawnProcessLauncher final : public ProcessLauncher {
  public:
    SpawnProcessLauncher();
    // Reaps what has ended; children still running are inherited by the system when this
    // process ends.
    ~SpawnProcessLauncher() override;

    SpawnProcessLauncher(const SpawnProcessLauncher&) = delete;
    SpawnProcessLauncher& operator=(const SpawnProcessLauncher&) = delete;

    // A failure gives errno, also when the program could not be executed (posix_spawn reports
    // the exec's errno), and the system's text for it.
    using ProcessLauncher::start;
    LaunchResult start(const QString& program, const QStringList& arguments, WindowStyle style,
                       const QByteArray& standardInput) override;

    static QByteArray showWindowValue(WindowStyle style);

  private:
    void reapEnded();

    std::vector<pid_t> children_;
    QTimer reaper_;
};

}  // namespace hvx
