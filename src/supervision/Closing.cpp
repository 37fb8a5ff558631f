// Every way of closing the window (close box, Exit button and menu item, a signal from the
// session) arrives here as a close request.
#include "frmMonitor.h"

#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "startup/Shutdown.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QTimer>

namespace hvx {

bool frmMonitor::Form_QueryUnload() {
    return ConfirmExit(ctx_);
}

void frmMonitor::Form_Unload() {
    if (unloaded_) {
        return;
    }
    unloaded_ = true;
    Timer1->stop();
    loop_.Closing = true;
    ShutDown(ctx_, settings_, chkTrace->isChecked());
}

void frmMonitor::cmdExit_Click() {
    RunTrapped(ctx_, code::kCmdExitClick, [&] { close(); });
}

void frmMonitor::mnuExit_Click() {
    RunTrapped(ctx_, code::kMnuExitClick, [&] { close(); });
}

void frmMonitor::closeEvent(QCloseEvent* event) {
    if (unloaded_) {
        event->accept();
        return;
    }
    if (!Form_QueryUnload()) {
        event->ignore();
        return;
    }
    Form_Unload();
    event->accept();
}

}  // namespace hvx
