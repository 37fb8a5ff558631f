// The service check boxes, the trace box and the processing commands of the window.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "commands/LogCommands.h"
#include "commands/ServiceSwitches.h"
#include "settings/OldUnsentMessages.h"

#include <QAction>
#include <QCheckBox>
#include <QEvent>
#include <QFrame>
#include <QLabel>

namespace hvx {

void frmMonitor::chkReadEmail_Click() {
    applyServiceSwitch(ctx_, ctx_.stop.readingEmail, value::kStopReadingEmail,
                       chkReadEmail->isChecked());
}

void frmMonitor::chkCheckSLAs_Click() {
    applyServiceSwitch(ctx_, ctx_.stop.processingSLAs, value::kStopProcessingSLAs,
                       chkCheckSLAs->isChecked());
}

void frmMonitor::chkProcessOnHoldRequests_Click() {
    applyServiceSwitch(ctx_, ctx_.stop.onHold, value::kStopOnHold,
                       chkProcessOnHoldRequests->isChecked());
}

void frmMonitor::chkSendEmail_Click() {
    RunTrapped(ctx_, code::kChkSendEmailClick, [&] {
        if (loop_.IgnoreSendEmailClick) {
            loop_.IgnoreSendEmailClick = false;
            return;
        }
        if (ctx_.stop.sendingEmail && CheckOldUnsentMessages() == oldMessages::kCancelled) {
            // The untick below raises this handler once more; that click is swallowed.
            loop_.IgnoreSendEmailClick = true;
            chkSendEmail->setChecked(false);
            return;
        }
        applyServiceSwitch(ctx_, ctx_.stop.sendingEmail, value::kStopSendingEmail,
                           chkSendEmail->isChecked());
    });
}

void frmMonitor::chkTrace_Click() {
    applyTraceSwitch(ctx_, chkTrace->isChecked());
}

void frmMonitor::mnuRunNow_Click() {
    RunNow(ctx_, loop_.LastSettingsRefresh, [this] { return RefreshSystemSettings(); });
}

void frmMonitor::mnuManualMailIn_Click() {
    PreviewInBox(ctx_);
}

void frmMonitor::mnuViewErrorLog_Click() {
    ViewLogFile(ctx_, [this] { StartSuspendResume(); });
}

void frmMonitor::mnuSendLogToHalvex_Click() {
    SendLogFile(ctx_, [this] { StartSuspendResume(); });
}

void frmMonitor::mnuClearLogFile_Click() {
    ClearLogFile(ctx_);
}

void frmMonitor::mnuClearErrorWarning_Click() {
    if (ClearErrorWarning(ctx_, [this] { StartSuspendResume(); })) {
        ErrorLogFrame->hide();
        setWindowIcon(imgStd);
    }
}

void frmMonitor::viewLogFromIndicator(long code) {
    RunTrapped(ctx_, code, [&] {
        if (mnuViewErrorLog->isEnabled()) {
            mnuViewErrorLog_Click();
        }
    });
}

void frmMonitor::ErrorLogFrame_DblClick() {
    viewLogFromIndicator(code::kErrorLogFrameDblClick);
}

void frmMonitor::imgErrorLog_DblClick() {
    viewLogFromIndicator(code::kImgErrorLogDblClick);
}

void frmMonitor::lblErrorLog_DblClick() {
    viewLogFromIndicator(code::kLblErrorLogDblClick);
}

bool frmMonitor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonDblClick) {
        if (watched == ErrorLogFrame) {
            ErrorLogFrame_DblClick();
            return true;
        }
        if (watched == imgErrorLog) {
            imgErrorLog_DblClick();
            return true;
        }
        if (watched == lblErrorLog) {
            lblErrorLog_DblClick();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

}  // namespace hvx
