// The timer tick: the status, an abort, the settings and the schedule, then the core
// application's start, renewal or start time-out, and the run state.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/MessageBoxes.h"
#include "settings/SystemSettings.h"

#include <QTimer>

namespace hvx {

void frmMonitor::writeTickTrace() {
    if (ctx_.traceOn) {
        WriteTrace(ctx_, loop_.tickTrace);
    }
}

void frmMonitor::Timer1_Timer() {
    if (loop_.Closing) {
        return;
    }
    Timer1->stop();
    const QString previousTrace = loop_.tickTrace;
    loop_.tickTrace.clear();
    bool rearm = true;
    ctx_.procedureCode = code::kTimer1Timer;
    try {
        // The tick's reads of the control channel share one read of it.
        SharedSectionReads controls(ctx_, ctx_.controlsSection, controlValues_);
        rearm = superviseCore(previousTrace);
    } catch (...) {
        const RuntimeError error = asRuntimeError(std::current_exception());
        try {
            writeTickTrace();
            required(ctx_.env.messageBoxes)
                .Show({QStringLiteral("Failed to start the Monitor Timer program: ") +
                           QStringLiteral("\r\n") + error.description() + QStringLiteral(" (") +
                           QString::number(error.number()) + QStringLiteral(")"),
                       std::nullopt, MessageIcon::None, MessageButtons::OkOnly, 1});
        } catch (...) {
            // Nothing left to tell the operator with; the loop stays stopped.
        }
        rearm = false;
    }
    if (rearm && !loop_.Closing) {
        Timer1->start();
    }
}

bool frmMonitor::superviseCore(const QString& previousTrace) {
    ShowStatus();
    const DateValue now = required(ctx_.env.clock).now();
    ctx_.procedureCode = code::kTimer1Timer;
    const QString state = readControl(value::kState, defaults::kState);
    if (isCode(state, state::kAborted)) {
        ++loop_.AbortCount;
        if (!HandleCoreAbort(loop_.AbortCount)) {
            return false;
        }
        loop_.CoreStartTime = DateValue::zero();
        loop_.CoreStopTime = now;
    } else {
        if (isCode(readControl(value::kProcessing, defaults::kProcessing), QLatin1String("1"))) {
            append("P=1;");
            return true;
        }
        append("P=0;");
        if (RefreshSystemSettings() == 0) {
            append("MGS=0;");
            return true;
        }
        ApplySchedule();
    }

    ctx_.procedureCode = code::kTimer1Timer;
    if (IsCoreRunning()) {
        append("AR=1;");
        if (!loop_.CoreStartTime.isZero() && settings_.AutoCloseMonitorMinutes > 0 &&
            minutesBetween(loop_.CoreStartTime, required(ctx_.env.clock).now()) >
                settings_.AutoCloseMonitorMinutes) {
            append("X=1;");
            ctx_.procedureCode = code::kTimer1Timer;
            writeControl(value::kCommand, command::kRenew);
            loop_.CoreStopTime = required(ctx_.env.clock).now();
            loop_.CoreStartTime = DateValue::zero();
        }
    } else {
        append("AR=0;");
        if (!ShouldStartCore(loop_.CoreStartTime, loop_.CoreStopTime)) {
            append("MSCA=0;");
        } else {
            append("MSCA=1;");
            if (loop_.CoreStartTime.isZero()) {
                append("CAST=0;");
                if (!launchCore()) {
                    return false;
                }
            } else {
                append("CAST=1;");
                if (coreStartTimedOut()) {
                    return false;
                }
            }
        }
    }
    ShowRunState();
    if (ctx_.traceOn && loop_.tickTrace.compare(previousTrace, Qt::CaseInsensitive) != 0) {
        WriteTrace(ctx_, loop_.tickTrace);
    }
    return true;
}

}  // namespace hvx
