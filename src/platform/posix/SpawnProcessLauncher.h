#pragma once

#include "platform/OsServices.h"

#include <QSocketNotifier>

#include <sys/types.h>
#include <memory>
#include <vector>

namespace hvx {

// Starts programs with posix_spawn: the program and its arguments go to the child as they
// are, no shell sees them. A program without a slash is looked up on PATH. The child gets
// this process's environment with HVX_SHOW_WINDOW set to "minimized-noactivate", "minimized"
// (with the focus) or "normal", default signal handling, and no open descriptor beyond
// standard input, output and error.
//
// The children are not waited for, but they are reaped: each child's process descriptor is
// watched by the calling thread's event loop, which collects the child as soon as it ends.
// Nothing wakes up while the children run. Needs an event loop in the thread that calls
// start(). Should the system refuse a descriptor, that child is collected by the next start()
// or by the destructor instead.
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
    struct Child {
        Child(pid_t processId, int descriptor);
        ~Child();
        Child(const Child&) = delete;
        Child& operator=(const Child&) = delete;

        pid_t pid;
        int pidfd;  // -1 when the system gave none
        // Declared after the descriptor, so it goes first.
        std::unique_ptr<QSocketNotifier> endWatch;
    };

    void watch(pid_t pid);
    void collect(pid_t pid);
    void reapEnded();

    std::vector<std::unique_ptr<Child>> children_;
};

}  // namespace hvx
