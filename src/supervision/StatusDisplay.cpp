// The status bar, the error indicator, the captions and the run button.
#include "frmMonitor.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "platform/Clock.h"
#include "settings/SystemSettings.h"

#include <QAction>
#include <QLabel>
#include <QLocale>
#include <QPushButton>

namespace hvx {

void frmMonitor::UpdateStatusBar(const QString& s, int Panel) {
    try {
        QLabel* panel = panels_[Panel - 1];
        panel->setText(s);
        panel->setToolTip(s);
        // Painted at once, so progress shows even in the middle of a long operation.
        panel->repaint();
    } catch (...) {
        // The status bar is a courtesy.
    }
}

void frmMonitor::ShowStatus() {
    RunTrapped(ctx_, code::kShowStatus, [&] {
        if (!isCode(readControl(value::kState, defaults::kState), state::kNotStarted)) {
            const auto minutes = minutesBetween(MonitorStartTime, required(ctx_.env.clock).now());
            UpdateStatusBar(
                QStringLiteral("Monitor uptime: ") +
                    QLocale::system().toString(static_cast<double>(minutes) / 60.0, 'f', 1) +
                    QStringLiteral(" hours."),
                1);
        }
        UpdateStatusBar(readControl(value::kStatus, defaults::kStatus), 2);
        const QString errorInfo = readControl(value::kErrorInfo, defaults::kErrorInfo);
        ctx_.procedureCode = code::kShowStatus;
        if (errorInfo.isEmpty()) {
            if (ErrorLogFrame->isVisibleTo(this)) {
                ErrorLogFrame->hide();
                setWindowIcon(imgStd);
            }
            return;
        }
        if (!ErrorLogFrame->isVisibleTo(this)) {
            ErrorLogFrame->show();
            setWindowIcon(imgExclaim);
            Q_EMIT errorIndicatorRaised();
        }
        if (lblErrorLog->text() != errorInfo) {
            lblErrorLog->setText(errorInfo);
        }
    });
}

void frmMonitor::ShowRunState() {
    RunTrapped(ctx_, code::kShowRunState, [&] {
        const QString state = readControl(value::kState, defaults::kState);
        ctx_.procedureCode = code::kShowRunState;
        const QString title = ctx_.applicationTitle;
        const auto setCaption = [this](const QString& caption) {
            if (windowTitle().compare(caption, Qt::CaseInsensitive) != 0) {
                setWindowTitle(caption);
                return true;
            }
            return false;
        };
        if (isCode(state, state::kNotStarted)) {
            setCaption(title);
        } else if (isCode(state, state::kRunning)) {
            mnuRunNow->setEnabled(true);
            mnuManualMailIn->setEnabled(true);
            if (setCaption(title + QStringLiteral(" (Running)"))) {
                cmdCommand->setText(QStringLiteral("Suspend"));
            }
        } else if (isCode(state, state::kSuspended)) {
            mnuRunNow->setEnabled(false);
            mnuManualMailIn->setEnabled(false);
            setCaption(ScheduleSuspended ? title + QStringLiteral(" (Suspended until ") +
                                               MinutesToHHMM(ctx_, settings_.MonitorStartMinutes) +
                                               QStringLiteral(")")
                                         : title + QStringLiteral(" (Suspended)"));
            ctx_.procedureCode = code::kShowRunState;
            if (cmdCommand->text().compare(QLatin1String("Resume"), Qt::CaseInsensitive) != 0) {
                cmdCommand->setText(QStringLiteral("Resume"));
            }
        }
        if (mnuSuspend->text() != cmdCommand->text()) {
            mnuSuspend->setText(cmdCommand->text());
        }
        if (secondsBetween(LastCommandTime, required(ctx_.env.clock).now()) > 1) {
            cmdCommand->setEnabled(true);
            mnuSuspend->setEnabled(true);
            LastCommandTime = DateValue::zero();
        }
    });
}

}  // namespace hvx
