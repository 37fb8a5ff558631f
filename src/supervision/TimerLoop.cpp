// The timer tick and the core application's start, renewal and start time-out.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"
#include "settings/SystemSettings.h"

#include <QFileInfo>
#include <QTimer>

namespace hvx {

namespace {

constexpr int kRelaunchHoldSeconds = 60;
constexpr int kStartTimeOutSeconds = 10;

}  // namespace

void frmMonitor::writeTickTrace() {
    if (ctx_.traceOn) {
        WriteTrace(ctx_, tickTrace_);
    }
}

void frmMonitor::Timer1_Timer() {
    if (Closing) {
        return;
    }
    Timer1->stop();
    const QString previousTrace = tickTrace_;
    tickTrace_.clear();
    bool rearm = true;
    ctx_.procedureCode = code::kTimer1Timer;
    try {
        [&] {
            ShowStatus();
            const DateValue now = required(ctx_.env.clock).now();
            ctx_.procedureCode = code::kTimer1Timer;
            const QString state = readControl(value::kState, defaults::kState);
            if (isCode(state, state::kAborted)) {
                ++AbortCount;
                if (!HandleCoreAbort(AbortCount)) {
                    rearm = false;
                    return;
                }
                CoreStartTime = DateValue::zero();
                CoreStopTime = now;
            } else {
                if (isCode(readControl(value::kProcessing, defaults::kProcessing),
                           QLatin1String("1"))) {
                    append("P=1;");
                    return;
                }
                append("P=0;");
                if (RefreshSystemSettings() == 0) {
                    append("MGS=0;");
                    return;
                }
                ApplySchedule();
            }

            ctx_.procedureCode = code::kTimer1Timer;
            if (IsCoreRunning()) {
                append("AR=1;");
                if (!CoreStartTime.isZero() && settings_.AutoCloseMonitorMinutes > 0 &&
                    minutesBetween(CoreStartTime, required(ctx_.env.clock).now()) >
                        settings_.AutoCloseMonitorMinutes) {
                    append("X=1;");
                    ctx_.procedureCode = code::kTimer1Timer;
                    writeControl(value::kCommand, command::kRenew);
                    CoreStopTime = required(ctx_.env.clock).now();
                    CoreStartTime = DateValue::zero();
                }
            } else {
                append("AR=0;");
                if (!ShouldStartCore(CoreStartTime, CoreStopTime)) {
                    append("MSCA=0;");
                } else {
                    append("MSCA=1;");
                    if (CoreStartTime.isZero()) {
                        append("CAST=0;");
                        if (!launchCore()) {
                            rearm = false;
                            return;
                        }
                    } else {
                        append("CAST=1;");
                        if (coreStartTimedOut()) {
                            rearm = false;
                            return;
                        }
                    }
                }
            }
            ShowRunState();
            if (ctx_.traceOn && tickTrace_.compare(previousTrace, Qt::CaseInsensitive) != 0) {
                WriteTrace(ctx_, tickTrace_);
            }
        }();
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
    if (rearm && !Closing) {
        Timer1->start();
    }
}

bool frmMonitor::IsCoreRunning() {
    bool running = false;
    RunTrapped(ctx_, code::kIsCoreRunning,
               [&] { running = required(ctx_.env.windows).findWindow(ctx_.coreWindowCaption); });
    return running;
}

bool frmMonitor::ShouldStartCore(DateValue& coreStartTime, DateValue& coreStopTime) {
    bool start = false;
    RunTrapped(ctx_, code::kShouldStartCore, [&] {
        const QString state = readControl(value::kState, defaults::kState);
        ctx_.procedureCode = code::kShouldStartCore;
        tickTrace_ += QStringLiteral("MSCA_AS=") + state + QStringLiteral(";");
        if (!isCode(state, state::kSuspended)) {
            if (coreStopTime.isZero()) {
                append("MSCA_CACT=0;");
                start = true;
                return;
            }
            append("MSCA_CACT=1;");
            if (secondsBetween(coreStopTime, required(ctx_.env.clock).now()) <
                kRelaunchHoldSeconds) {
                append("MSCA_GO=0;");
                return;
            }
            append("MSCA_GO=1;");
            start = true;
            return;
        }
        if (isCode(readControl(value::kCommand, defaults::kCommand), command::kResume)) {
            append("MSCA_RP=1;");
            start = true;
            return;
        }
        append("MSCA_RP=0;");
        coreStartTime = DateValue::zero();
        coreStopTime = DateValue::zero();
    });
    return start;
}

bool frmMonitor::launchCore() {
    writeControl(value::kUserId, ctx_.databaseUserId);
    writeControl(value::kPwd, ctx_.databasePassword);
    ctx_.procedureCode = code::kTimer1Timer;
    const QString executable = ctx_.env.applicationFolder + QStringLiteral("/HvxMonCore");
    if (!QFileInfo(executable).isFile()) {
        writeTickTrace();
        critical(QStringLiteral("The Monitor timer program ") + executable +
                 QStringLiteral(" is missing.  "));
        return false;
    }
    QStringList arguments;
    if (!trimSpaces(ctx_.instanceName).isEmpty()) {
        arguments.append(trimSpaces(ctx_.instanceName));
    }
    ctx_.procedureCode = code::kTimerBeforeProcessStart;
    const LaunchResult launched =
        required(ctx_.env.launcher).start(executable, arguments, WindowStyle::MinimizedNoActivate);
    if (!launched.started) {
        writeTickTrace();
        required(ctx_.env.messageBoxes)
            .Show({QStringLiteral("The Monitor Timer application failed to start.  ") +
                       QStringLiteral("Please check this file exists: ") + QStringLiteral("\r\n") +
                       executable + QStringLiteral("\r\n\r\n") + launched.errorDescription +
                       QStringLiteral(" (") + QString::number(launched.errorNumber) +
                       QStringLiteral(")"),
                   std::nullopt, MessageIcon::None, MessageButtons::OkOnly, 1});
        return false;
    }
    ctx_.procedureCode = code::kTimerAfterProcessStart;
    CoreStartTime = required(ctx_.env.clock).now();
    CoreStopTime = DateValue::zero();
    return true;
}

bool frmMonitor::coreStartTimedOut() {
    const DateValue now = required(ctx_.env.clock).now();
    if (secondsBetween(CoreStartTime, now) <= kStartTimeOutSeconds) {
        return false;
    }
    writeTickTrace();
    critical(QStringLiteral("The Monitor Timer program has not ") +
             QStringLiteral("started successfully.") + QStringLiteral("\r\n\r\n") +
             QStringLiteral("It was started at ") + formatGeneralDate(CoreStartTime) +
             QStringLiteral(" and it is not running at ") + formatGeneralDate(now) +
             QStringLiteral(".") + QStringLiteral("\r\n\r\n") +
             QStringLiteral("Please Exit and restart the Monitor."));
    return true;
}

}  // namespace hvx
