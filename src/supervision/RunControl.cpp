// Start, Suspend and Resume, the scheduled hours, and the handling of an aborted core
// application.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/MessageBoxes.h"
#include "settings/OldUnsentMessages.h"
#include "settings/SettingsRefresh.h"
#include "settings/SystemSettings.h"

#include <QAction>
#include <QCheckBox>
#include <QPushButton>
#include <QTimer>

namespace hvx {

void frmMonitor::cmdCommand_Click() {
    RunTrapped(ctx_, code::kCmdCommandClick, [&] {
        loop_.ScheduleSuspended = false;
        StartSuspendResume();
    });
}

void frmMonitor::mnuSuspend_Click() {
    RunTrapped(ctx_, code::kMnuSuspendClick, [&] { StartSuspendResume(); });
}

void frmMonitor::StartSuspendResume() {
    RunTrapped(ctx_, code::kStartSuspendResume, [&] {
        if (loop_.Closing) {
            return;
        }
        cmdCommand->setEnabled(false);
        mnuSuspend->setEnabled(false);
        if (cmdCommand->text().compare(QLatin1String("&Start"), Qt::CaseInsensitive) != 0) {
            if (!isCode(readControl(value::kCommand, defaults::kCommand), command::kNone)) {
                return;
            }
            const bool suspended =
                isCode(readControl(value::kState, defaults::kState), state::kSuspended);
            writeControl(value::kCommand, suspended ? command::kResume : command::kSuspend);
            writeControl(value::kStatus, QString());
        } else {
            const QString rule(80, QLatin1Char('='));
            for (const QString& line : {QString(), rule, QStringLiteral("Monitor Started"),
                                        ctx_.databaseDescription, rule}) {
                WriteTrace(ctx_, line);
            }
            ctx_.procedureCode = code::kStartSuspendResume;
            if (CheckOldUnsentMessages() == oldMessages::kCancelled) {
                cmdCommand->setEnabled(true);
                mnuSuspend->setEnabled(true);
                return;
            }
            ctx_.procedureCode = code::kStartSuspendResume;
            writeControl(value::kCommand, command::kStart);
            Timer1->start();
            loop_.MonitorStartTime = required(ctx_.env.clock).now();
        }
        loop_.LastCommandTime = required(ctx_.env.clock).now();
    });
}

void frmMonitor::ApplySchedule() {
    RunTrapped(ctx_, code::kApplySchedule, [&] {
        if (!settings_.ScheduledHoursOn) {
            return;
        }
        const bool outside = IsOutsideScheduledHours(ctx_, settings_.MonitorStopMinutes,
                                                     settings_.MonitorStartMinutes);
        if (!loop_.ScheduleSuspended && outside) {
            ctx_.procedureCode = code::kApplyScheduleSuspending;
            loop_.ScheduleSuspended = true;
            if (ctx_.traceOn) {
                WriteTrace(ctx_, QStringLiteral("Requesting the core application to suspend as "
                                                "required by the System Settings"));
            }
            writeControl(value::kCommand, command::kSuspend);
        } else if (loop_.ScheduleSuspended && !outside) {
            ctx_.procedureCode = code::kApplyScheduleResuming;
            loop_.ScheduleSuspended = false;
            if (ctx_.traceOn) {
                WriteTrace(ctx_, QStringLiteral("Requesting the core application to resume as "
                                                "required by the System Settings"));
            }
            writeControl(value::kCommand, command::kResume);
        }
    });
}

bool frmMonitor::HandleCoreAbort(int abortCount) {
    bool carryOn = false;
    RunTrapped(ctx_, code::kHandleCoreAbort, [&] {
        if (abortCount <= settings_.MonitorCnnTolerance) {
            DeleteRegValue(ctx_, ctx_.controlsSection, value::kCommand);
            DeleteRegValue(ctx_, ctx_.controlsSection, value::kProcessing);
            writeControl(value::kState, state::kRunning);
            WriteTrace(ctx_,
                       QStringLiteral("Requesting the core application to restart in one minute."));
            carryOn = true;
            return;
        }
        critical(QStringLiteral("Unable to continue: the monitor timer has aborted ") +
                 QString::number(settings_.MonitorCnnTolerance) + QStringLiteral(" times."));
        // Closing goes through the usual path; with State "999" it asks nothing.
        close();
    });
    return carryOn;
}

int frmMonitor::RefreshSystemSettings() {
    return hvx::RefreshSystemSettings(
        ctx_, settings_, loop_.LastSettingsRefresh,
        [this](const QString& text, int panel) { UpdateStatusBar(text, panel); });
}

int frmMonitor::CheckOldUnsentMessages() {
    return hvx::CheckOldUnsentMessages(ctx_, chkSendEmail->isChecked());
}

}  // namespace hvx
