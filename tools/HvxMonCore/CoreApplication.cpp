#include "CoreApplication.h"

#include "channel/AppContext.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QDebug>

#include <exception>

namespace hvx {

namespace {

constexpr int kTickMs = 1000;
constexpr int kDefaultSendIntervalMinutes = 1;

QString oneLine(QString text) {
    return text.replace(QLatin1String("\r\n"), QLatin1String(" "))
        .replace(QLatin1Char('\n'), QLatin1Char(' '))
        .replace(QLatin1Char('\r'), QLatin1Char(' '))
        .trimmed();
}

}  // namespace

CoreApplication::CoreApplication(AppContext& ctx, CoreDatabase& database, WindowDirectory& windows,
                                 const Clock& clock, Setup setup)
    : ctx_(ctx), database_(database), windows_(windows), clock_(clock), setup_(std::move(setup)) {
    ticker_.setInterval(kTickMs);
    connect(&ticker_, &QTimer::timeout, this, &CoreApplication::tick);
}

CoreApplication::~CoreApplication() = default;

void CoreApplication::start() {
    try {
        const QString state = GetRegValue(ctx_, ctx_.controlsSection, value::kState, QString());
        if (isCode(state, state::kRunning)) {
            state_ = RunState::Running;
        } else if (isCode(state, state::kSuspended)) {
            state_ = RunState::Suspended;
        }
        // This program is the only writer of Processing: a fresh copy is not processing,
        // whatever a killed one left behind.
        SaveRegValue(ctx_, ctx_.controlsSection, value::kProcessing, QStringLiteral("0"));
        if (setup_.faults.dbIssues) {
            SaveRegValue(ctx_, ctx_.controlsSection, value::kCoreHasDBIssues, QStringLiteral("1"));
        }
    } catch (const std::exception& error) {
        qWarning().noquote() << "HvxMonCore: the store cannot be used:" << error.what();
    }

    const CoreFaults& faults = setup_.faults;
    if (faults.abortAfter) {
        QTimer::singleShot(*faults.abortAfter * 1000, this, &CoreApplication::abortNow);
    }
    if (faults.errorAfter) {
        QTimer::singleShot(*faults.errorAfter * 1000, this, &CoreApplication::reportSimulatedError);
    }
    tick();
    if (finished_) {
        return;
    }
    ticker_.start();
    if (!faults.noWindow) {
        if (faults.slowStart) {
            QTimer::singleShot(*faults.slowStart * 1000, this, &CoreApplication::showWindow);
        } else {
            showWindow();
        }
    }
}

void CoreApplication::finish(int exitCode) {
    if (finished_) {
        return;
    }
    finished_ = true;
    ticker_.stop();
    // The caption goes first: once the Monitor cannot find it, it may start a new copy.
    announcement_.reset();
    window_.reset();
    Q_EMIT finished(exitCode);
}

void CoreApplication::tick() {
    if (finished_) {
        return;
    }
    try {
        if (!setup_.faults.ignoreCommands) {
            takeCommand();
        }
        if (finished_) {
            return;
        }
        if (state_ == RunState::Running && nextRun_.hasExpired()) {
            processingRun();
        }
        publish();
        ticksWithoutStore_ = 0;
    } catch (const RuntimeError& error) {
        qWarning().noquote() << "HvxMonCore:" << error.description();
        // A store that is busy or away: the next tick tries again, for a while.
        if (error.number() == err::CannotCreateComponent &&
            ++ticksWithoutStore_ >= kTicksWithoutStore) {
            qWarning().noquote() << "HvxMonCore: the store has been unusable for"
                                 << kTicksWithoutStore << "seconds; ending";
            finish(kNoStoreExitCode);
        }
    } catch (const std::exception& error) {
        qWarning().noquote() << "HvxMonCore:" << error.what();
    }
}

void CoreApplication::takeCommand() {
    const QString command =
        GetRegValue(ctx_, ctx_.controlsSection, value::kCommand, QString(defaults::kCommand));
    if (command.isEmpty() || isCode(command, command::kNone)) {
        return;
    }
    // Taken: the Monitor gives no further Suspend or Resume until it reads "0" again.
    SaveRegValue(ctx_, ctx_.controlsSection, value::kCommand, QString(command::kNone));
    if (isCode(command, command::kStart) || isCode(command, command::kResume)) {
        if (state_ != RunState::Running) {
            state_ = RunState::Running;
            nextRun_ = QDeadlineTimer(0);
        }
    } else if (isCode(command, command::kSuspend)) {
        state_ = RunState::Suspended;
    } else if (isCode(command, command::kRunNow)) {
        processingRun();
    } else if (isCode(command, command::kClose) || isCode(command, command::kRenew)) {
        finish(0);
    } else if (isCode(command, command::kPreview)) {
        preview();
    } else {
        lastWork_ = QStringLiteral("unknown command %1 ignored at %2").arg(command, clockTime());
    }
}

void CoreApplication::processingRun() {
    SaveRegValue(ctx_, ctx_.controlsSection, value::kProcessing, QStringLiteral("1"));
    const bool sendingOn = !sendingStopped();
    const CoreDatabase::SendResult result = database_.sendUnsent(sendingOn, clock_.now());
    SaveRegValue(ctx_, ctx_.controlsSection, value::kProcessing, QStringLiteral("0"));

    using Outcome = CoreDatabase::SendResult::Outcome;
    const QString at = clockTime();
    switch (result.outcome) {
        case Outcome::NoDatabase:
            lastWork_ = QStringLiteral("no database: no db.ini in %1").arg(database_.dbIniFolder());
            break;
        case Outcome::Failed:
            lastWork_ =
                QStringLiteral("database unreachable at %1: %2").arg(at, oneLine(result.error));
            break;
        case Outcome::SendingOff:
            lastWork_ = QStringLiteral("sending is off, run at %1").arg(at);
            break;
        case Outcome::Done:
            lastWork_ = result.sent == 1
                            ? QStringLiteral("1 message sent at %1").arg(at)
                            : QStringLiteral("%1 messages sent at %2").arg(result.sent).arg(at);
            break;
    }
    if (result.outcome == Outcome::Failed && !raisedDbIssues_) {
        SaveRegValue(ctx_, ctx_.controlsSection, value::kCoreHasDBIssues, QStringLiteral("1"));
        raisedDbIssues_ = true;
    } else if (result.outcome != Outcome::Failed && raisedDbIssues_) {
        if (!setup_.faults.dbIssues) {
            SaveRegValue(ctx_, ctx_.controlsSection, value::kCoreHasDBIssues, QStringLiteral("0"));
        }
        raisedDbIssues_ = false;
    }
    nextRun_ = QDeadlineTimer(std::chrono::minutes(sendIntervalMinutes()));
}

void CoreApplication::preview() {
    // A stand-in has no mailbox to look into; ManualMailIn stays the Monitor's to write.
    lastWork_ = QStringLiteral("in-box preview at %1: no mail account is set up").arg(clockTime());
}

void CoreApplication::publish() {
    if (state_ != RunState::Waiting) {
        const QString code =
            QString(state_ == RunState::Running ? state::kRunning : state::kSuspended);
        if (GetRegValue(ctx_, ctx_.controlsSection, value::kState, QString()) != code) {
            SaveRegValue(ctx_, ctx_.controlsSection, value::kState, code);
        }
    }
    // Rewritten whenever it differs: the Monitor clears it when it gives Suspend or Resume.
    const QString status = statusLine();
    if (GetRegValue(ctx_, ctx_.controlsSection, value::kStatus, QString()) != status) {
        SaveRegValue(ctx_, ctx_.controlsSection, value::kStatus, status);
    }
    if (window_) {
        window_->showLines(stateWord(), status);
    }
}

void CoreApplication::showWindow() {
    if (finished_ || window_) {
        return;
    }
    window_ = std::make_unique<TimerWindow>(setup_.caption);
    connect(window_.get(), &TimerWindow::closeRequested, this, [this] { finish(0); });
    window_->showLines(stateWord(), statusLine());
    if (setup_.minimized) {
        // Sized first: a window that takes its size while being shown loses the minimized
        // state, and the window manager would map it normal, with the focus.
        window_->adjustSize();
        window_->setAttribute(Qt::WA_ShowWithoutActivating);
        window_->showMinimized();
    } else {
        window_->show();
    }
    announcement_ = windows_.announce(setup_.caption);
}

void CoreApplication::abortNow() {
    if (finished_) {
        return;
    }
    try {
        SaveRegValue(ctx_, ctx_.controlsSection, value::kState, QString(state::kAborted));
    } catch (const std::exception& error) {
        qWarning().noquote() << "HvxMonCore:" << error.what();
    }
    finish(kAbortExitCode);
}

void CoreApplication::reportSimulatedError() {
    if (finished_) {
        return;
    }
    try {
        SaveRegValue(ctx_, ctx_.controlsSection, value::kErrorInfo,
                     QStringLiteral("Error 3021 at %1 in the processing run: simulated failure "
                                    "(HVX_CORE_FAULT error-after)")
                         .arg(clock_.now().time().toString(QStringLiteral("hh:mm:ss"))));
    } catch (const std::exception& error) {
        qWarning().noquote() << "HvxMonCore:" << error.what();
    }
}

bool CoreApplication::sendingStopped() {
    const QString text = GetRegValue(ctx_, ctx_.optionsSection, value::kStopSendingEmail,
                                     QString(defaults::kStopSwitch));
    try {
        return toBoolean(text);
    } catch (const RuntimeError&) {
        return false;
    }
}

int CoreApplication::sendIntervalMinutes() {
    bool ok = false;
    const int minutes =
        GetRegValue(ctx_, ctx_.controlsSection, value::kEmailSendInterval, QString()).toInt(&ok);
    return ok && minutes > 0 ? minutes : kDefaultSendIntervalMinutes;
}

QString CoreApplication::stateWord() const {
    switch (state_) {
        case RunState::Running:
            return QStringLiteral("Running");
        case RunState::Suspended:
            return QStringLiteral("Suspended");
        case RunState::Waiting:
            break;
    }
    return QStringLiteral("Waiting for Start");
}

QString CoreApplication::statusLine() const {
    return lastWork_.isEmpty() ? stateWord() : stateWord() + QStringLiteral("; ") + lastWork_;
}

QString CoreApplication::clockTime() const {
    return clock_.now().time().toString(QStringLiteral("hh:mm"));
}

}  // namespace hvx
