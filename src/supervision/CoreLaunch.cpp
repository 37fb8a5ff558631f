// The core application: whether its window is there, whether to start it, its start and the
// start's time-out.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"

#include <QFileInfo>

namespace hvx {

namespace {

constexpr int kRelaunchHoldSeconds = 60;
constexpr int kStartTimeOutSeconds = 10;

}  // namespace

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
        loop_.tickTrace += QStringLiteral("MSCA_AS=") + state + QStringLiteral(";");
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
    loop_.CoreStartTime = required(ctx_.env.clock).now();
    loop_.CoreStopTime = DateValue::zero();
    return true;
}

bool frmMonitor::coreStartTimedOut() {
    const DateValue now = required(ctx_.env.clock).now();
    if (secondsBetween(loop_.CoreStartTime, now) <= kStartTimeOutSeconds) {
        return false;
    }
    writeTickTrace();
    critical(QStringLiteral("The Monitor Timer program has not ") +
             QStringLiteral("started successfully.") + QStringLiteral("\r\n\r\n") +
             QStringLiteral("It was started at ") + formatGeneralDate(loop_.CoreStartTime) +
             QStringLiteral(" and it is not running at ") + formatGeneralDate(now) +
             QStringLiteral(".") + QStringLiteral("\r\n\r\n") +
             QStringLiteral("Please Exit and restart the Monitor."));
    return true;
}

}  // namespace hvx
