#pragma once

#include "platform/DateValue.h"

#include <QString>

namespace hvx {

// The main window's fields and its timer loop's state, kept for the life of the window. Every
// time starts at zero: the window has not started, launched or stopped anything yet.
struct MonitorLoopState {
    // Suspended by the scheduled hours rather than by the operator.
    bool ScheduleSuspended = false;
    // Set when the window unloads: a tick then does nothing and does not re-arm the timer.
    bool Closing = false;
    // The next click of the Send Email box comes from the window itself and is swallowed.
    bool IgnoreSendEmailClick = false;
    DateValue MonitorStartTime{};
    DateValue LastCommandTime{};
    DateValue LastSettingsRefresh{};
    // Zero while no launched core application is being waited for or timed.
    DateValue CoreStartTime{};
    // Zero when no close or abort is pending.
    DateValue CoreStopTime{};
    // Rises by one each time a tick reads State "999", before HandleCoreAbort is asked, and is
    // never reset while the window lives: a tolerance of N restarts the core application after
    // each of the first N aborts and gives up at abort N + 1 (a tolerance of 0 at the first).
    int AbortCount = 0;
    // The decision trace of the current (or last) tick.
    QString tickTrace{};
};

// The loop's state as a test or a benchmark sees it, with the timer's.
struct MonitorLoopView : MonitorLoopState {
    bool timerEnabled = false;
    int timerInterval = 0;
};

}  // namespace hvx
