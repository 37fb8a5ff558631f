// The status bar, the error indicator, the captions and the run button.
#include "frmMonitor.h"

#include "ErrorIndicatorText.h"
#include "StatusPanel.h"
#include "UptimeText.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "platform/Clock.h"
#include "settings/SystemSettings.h"

#include <QAction>
#include <QLabel>
#include <QPushButton>

#include <iterator>

namespace hvx {

namespace {

// Captions and button texts compare without regard to case; the tick asks every second and
// almost always finds them equal as they are, which is the cheap question.
bool sameText(const QString& a, const QString& b) {
    return a == b || a.compare(b, Qt::CaseInsensitive) == 0;
}

}  // namespace

void frmMonitor::UpdateStatusBar(const QString& s, int Panel) {
    // A panel that does not exist is no error: the status bar is a courtesy.
    if (Panel < 1 || Panel > static_cast<int>(std::size(panels_))) {
        return;
    }
    panels_[Panel - 1]->showText(s);
}

void frmMonitor::showErrorInfo(const QString& errorInfo) {
    if (errorLogText_.compare(errorInfo, Qt::CaseInsensitive) == 0) {
        return;
    }
    errorLogText_ = errorInfo;
    lblErrorLog->setText(
        fitWrappedText(errorInfo, lblErrorLog->font(), lblErrorLog->contentsRect().size()));
    for (QWidget* part : {static_cast<QWidget*>(ErrorLogFrame), static_cast<QWidget*>(imgErrorLog),
                          static_cast<QWidget*>(lblErrorLog)}) {
        part->setToolTip(errorInfo);
    }
}

void frmMonitor::ShowStatus() {
    RunTrapped(ctx_, code::kShowStatus, [&] {
        if (!isCode(readControl(value::kState, defaults::kState), state::kNotStarted)) {
            // Asked every second, the text changes every six minutes: it is made again only
            // when the minutes move.
            const std::int64_t minutes =
                minutesBetween(loop_.MonitorStartTime, required(ctx_.env.clock).now());
            if (minutes != uptimeMinutes_ || uptime_.isEmpty()) {
                uptimeMinutes_ = minutes;
                uptime_ = uptimeText(minutes);
            }
            UpdateStatusBar(uptime_, 1);
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
        showErrorInfo(errorInfo);
    });
}

void frmMonitor::ShowRunState() {
    RunTrapped(ctx_, code::kShowRunState, [&] {
        const QString state = readControl(value::kState, defaults::kState);
        ctx_.procedureCode = code::kShowRunState;
        const QString title = ctx_.applicationTitle;
        const auto setCaption = [this](const QString& caption) {
            if (!sameText(windowTitle(), caption)) {
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
            setCaption(loop_.ScheduleSuspended
                           ? title + QStringLiteral(" (Suspended until ") +
                                 MinutesToHHMM(ctx_, settings_.MonitorStartMinutes) +
                                 QStringLiteral(")")
                           : title + QStringLiteral(" (Suspended)"));
            ctx_.procedureCode = code::kShowRunState;
            if (cmdCommand->text().compare(QLatin1String("Resume"), Qt::CaseInsensitive) != 0) {
                cmdCommand->setText(QStringLiteral("Resume"));
            }
        }
        if (!sameText(mnuSuspend->text(), cmdCommand->text())) {
            mnuSuspend->setText(cmdCommand->text());
        }
        if (secondsBetween(loop_.LastCommandTime, required(ctx_.env.clock).now()) > 1) {
            // Most ticks find both enabled already: nothing to touch then.
            if (!cmdCommand->isEnabled()) {
                cmdCommand->setEnabled(true);
            }
            if (!mnuSuspend->isEnabled()) {
                mnuSuspend->setEnabled(true);
            }
            loop_.LastCommandTime = DateValue::zero();
        }
    });
}

}  // namespace hvx
