#pragma once

#include "CoreDatabase.h"
#include "CoreFaults.h"
#include "TimerWindow.h"
#include "platform/OsServices.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <memory>

namespace hvx {

struct AppContext;
class Clock;

// The stand-in core application: it honours the control channel as the Monitor expects. Every
// second it takes the Monitor's command, keeps State and Status current and, while running,
// does a processing run when one is due (sending: unsent messages are stamped sent). It shows
// its window under the core window caption while it lives; the Monitor knows it by that.
class CoreApplication final : public QObject {
    Q_OBJECT

  public:
    struct Setup {
        QString caption;
        bool minimized = false;
        CoreFaults faults;
    };

    // Everything passed in must outlive this.
    CoreApplication(AppContext& ctx, CoreDatabase& database, WindowDirectory& windows,
                    const Clock& clock, Setup setup);
    ~CoreApplication() override;

    // Takes the state the channel holds (a core started again after an abort or a renewal
    // goes on as it was), shows the window and starts the ticks.
    void start();
    // Withdraws the window and stops; `finished` follows once.
    void finish(int exitCode);

    // Ended by State "999" (fault abort-after).
    static constexpr int kAbortExitCode = 3;
    // Ended because the store could not be used for kTicksWithoutStore ticks in a row: no
    // command of the Monitor, not even the close command, can reach this copy any more.
    static constexpr int kNoStoreExitCode = 4;
    static constexpr int kTicksWithoutStore = 30;

  Q_SIGNALS:
    void finished(int exitCode);

  private:
    enum class RunState { Waiting, Running, Suspended };

    void tick();
    void takeCommand();
    void processingRun();
    void preview();
    void publish();
    void showWindow();
    void abortNow();
    void reportSimulatedError();
    bool sendingStopped();
    int sendIntervalMinutes();
    QString stateWord() const;
    QString statusLine() const;
    QString clockTime() const;

    AppContext& ctx_;
    CoreDatabase& database_;
    WindowDirectory& windows_;
    const Clock& clock_;
    Setup setup_;

    RunState state_ = RunState::Waiting;
    // What the last run, preview or command did, for the status line.
    QString lastWork_;
    QDeadlineTimer nextRun_;
    // CoreHasDBIssues was raised by a failed run and is to be lowered by the next good one.
    bool raisedDbIssues_ = false;
    bool finished_ = false;
    int ticksWithoutStore_ = 0;

    QTimer ticker_;
    std::unique_ptr<TimerWindow> window_;
    std::unique_ptr<CaptionAnnouncement> announcement_;
};

}  // namespace hvx
