#include "frmMonitor.h"

#include "StatusPanel.h"
#include "UptimeText.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "commands/NetSendAlerts.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"
#include "platform/qt/Twips.h"
#include "settings/SystemSettings.h"

#include <QAction>
#include <QCheckBox>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QResizeEvent>
#include <QScreen>
#include <QShowEvent>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>

#include <algorithm>

namespace hvx {

namespace {

constexpr int kButtonWidth = 1215;
constexpr int kButtonHeight = 375;
constexpr int kButtonTop = 2040;
constexpr int kExitLeft = 4620;
constexpr int kTraceHeight = 255;

QCheckBox* serviceBox(QWidget* parent, const char* name, const char* caption) {
    auto* box = new QCheckBox(QString::fromLatin1(caption), parent);
    box->setObjectName(QString::fromLatin1(name));
    box->setChecked(true);
    return box;
}

}  // namespace

frmMonitor::frmMonitor(AppContext& ctx, SystemSettings& settings, const MonitorLoopState& start,
                       QWidget* parent)
    : QMainWindow(parent), ctx_(ctx), settings_(settings), loop_(start), Timer1(new QTimer(this)) {
    setObjectName(QStringLiteral("frmMonitor"));
    setWindowTitle(QStringLiteral("Monitor"));
    buildControls();
    buildMenus();
    Timer1->setObjectName(QStringLiteral("Timer1"));
    Timer1->setInterval(1000);
    connect(Timer1, &QTimer::timeout, this, &frmMonitor::Timer1_Timer);
    if (ctx_.env.windows != nullptr) {
        announcement_ = ctx_.env.windows->announce(windowTitle());
        connect(this, &QWidget::windowTitleChanged, this,
                [this](const QString& caption) { announcement_->setCaption(caption); });
    }
    // The alerts go out once per rising of the error indicator.
    connect(this, &frmMonitor::errorIndicatorRaised, this, [this] { SendOperatorAlerts(ctx_); });
    resize(toPixels(kClientWidth), menuBar()->sizeHint().height() + toPixels(kClientHeight));
}

frmMonitor::~frmMonitor() = default;

MonitorLoopView frmMonitor::loopState() const {
    MonitorLoopView view;
    static_cast<MonitorLoopState&>(view) = loop_;
    view.timerEnabled = Timer1->isActive();
    view.timerInterval = Timer1->interval();
    return view;
}

int frmMonitor::toPixels(int twips) const {
    return twipsToPixels(*this, twips);
}

int frmMonitor::toTwips(int pixels) const {
    return pixelsToTwips(*this, pixels);
}

void frmMonitor::placeTwips(QWidget* control, int left, int top, int width, int height) {
    control->setGeometry(twipsToPixels(*this, QRect(left, top, width, height)));
}

QRect frmMonitor::twipsGeometry(const QWidget* control) const {
    return pixelsToTwips(*this, control->geometry());
}

QSize frmMonitor::outerTwips() const {
    // The designed outer size is the client area plus the frame, title bar and menu.
    return {toTwips(width()) + (kDesignWidth - kClientWidth),
            toTwips(height() - menuBar()->height()) + (kDesignHeight - kClientHeight)};
}

void frmMonitor::buildControls() {
    auto* client = new QWidget(this);
    client->setObjectName(QStringLiteral("client"));
    setCentralWidget(client);

    Frame1 = new QGroupBox(QStringLiteral("Services "), client);
    Frame1->setObjectName(QStringLiteral("Frame1"));
    placeTwips(Frame1, 120, 120, 3915, 1575);
    chkReadEmail = serviceBox(Frame1, "chkReadEmail", "Read Email");
    placeTwips(chkReadEmail, 180, 300, 3500, 255);
    chkSendEmail = serviceBox(Frame1, "chkSendEmail", "Send Email");
    placeTwips(chkSendEmail, 180, 600, 3500, 255);
    chkCheckSLAs = serviceBox(Frame1, "chkCheckSLAs", "Check [[SLAS]]");
    placeTwips(chkCheckSLAs, 180, 900, 3500, 255);
    chkProcessOnHoldRequests =
        serviceBox(Frame1, "chkProcessOnHoldRequests", "Process On-Hold [[REQUESTS]]");
    placeTwips(chkProcessOnHoldRequests, 180, 1200, 3500, 255);

    chkTrace = new QCheckBox(QStringLiteral("Trace"), client);
    chkTrace->setObjectName(QStringLiteral("chkTrace"));
    chkTrace->setToolTip(QStringLiteral("Write verbose information to the log file"));
    placeTwips(chkTrace, 120, 2100, 1035, kTraceHeight);

    ErrorLogFrame = new QFrame(client);
    ErrorLogFrame->setObjectName(QStringLiteral("ErrorLogFrame"));
    ErrorLogFrame->setFrameShape(QFrame::StyledPanel);
    ErrorLogFrame->setFocusPolicy(Qt::TabFocus);
    placeTwips(ErrorLogFrame, 4440, 120, 1395, 1575);
    ErrorLogFrame->hide();
    imgErrorLog = new QLabel(ErrorLogFrame);
    imgErrorLog->setObjectName(QStringLiteral("imgErrorLog"));
    placeTwips(imgErrorLog, 420, 180, 480, 480);
    imgErrorLog->setPixmap(
        style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(toPixels(480), toPixels(480)));
    lblErrorLog = new QLabel(QStringLiteral("One or more errors have been logged"), ErrorLogFrame);
    lblErrorLog->setObjectName(QStringLiteral("lblErrorLog"));
    lblErrorLog->setWordWrap(true);
    lblErrorLog->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    lblErrorLog->setFocusPolicy(Qt::TabFocus);
    placeTwips(lblErrorLog, 180, 780, 1095, 675);
    errorLogText_ = lblErrorLog->text();
    for (QWidget* part : {static_cast<QWidget*>(ErrorLogFrame), static_cast<QWidget*>(imgErrorLog),
                          static_cast<QWidget*>(lblErrorLog)}) {
        part->installEventFilter(this);
    }

    cmdCommand = new QPushButton(QStringLiteral("&Start"), client);
    cmdCommand->setObjectName(QStringLiteral("cmdCommand"));
    placeTwips(cmdCommand, 3300, kButtonTop, kButtonWidth, kButtonHeight);
    cmdExit = new QPushButton(QStringLiteral("&Exit"), client);
    cmdExit->setObjectName(QStringLiteral("cmdExit"));
    placeTwips(cmdExit, kExitLeft, kButtonTop, kButtonWidth, kButtonHeight);

    imgStd = style()->standardIcon(QStyle::SP_ComputerIcon);
    imgExclaim = style()->standardIcon(QStyle::SP_MessageBoxWarning);
    setWindowIcon(imgStd);

    auto* bar = new QStatusBar(this);
    bar->setObjectName(QStringLiteral("StatusBar1"));
    bar->setSizeGripEnabled(true);
    // The uptime keeps the width of its longest text; the status and the database description
    // share the rest, and a wider window widens them. They elide what does not fit (the status
    // at its end, the description, whose path tells instances apart, in its middle).
    const Qt::TextElideMode elide[3] = {Qt::ElideRight, Qt::ElideRight, Qt::ElideMiddle};
    for (int i = 0; i < 3; ++i) {
        panels_[i] = new StatusPanel(elide[i], bar);
        panels_[i]->setObjectName(QStringLiteral("StatusBar1Panel%1").arg(i + 1));
        if (i == 0) {
            panels_[i]->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
            panels_[i]->setFixedWidth(longestUptimeWidth(panels_[i]->fontMetrics()));
        }
        bar->addWidget(panels_[i], i == 0 ? 0 : 1);
    }
    setStatusBar(bar);

    QWidget::setTabOrder(chkReadEmail, chkSendEmail);
    QWidget::setTabOrder(chkSendEmail, chkCheckSLAs);
    QWidget::setTabOrder(chkCheckSLAs, chkProcessOnHoldRequests);
    QWidget::setTabOrder(chkProcessOnHoldRequests, cmdCommand);
    QWidget::setTabOrder(cmdCommand, ErrorLogFrame);
    QWidget::setTabOrder(ErrorLogFrame, lblErrorLog);
    QWidget::setTabOrder(lblErrorLog, Frame1);
    QWidget::setTabOrder(Frame1, chkTrace);
    QWidget::setTabOrder(chkTrace, cmdExit);

    connect(chkReadEmail, &QCheckBox::toggled, this, &frmMonitor::chkReadEmail_Click);
    connect(chkSendEmail, &QCheckBox::toggled, this, &frmMonitor::chkSendEmail_Click);
    connect(chkCheckSLAs, &QCheckBox::toggled, this, &frmMonitor::chkCheckSLAs_Click);
    connect(chkProcessOnHoldRequests, &QCheckBox::toggled, this,
            &frmMonitor::chkProcessOnHoldRequests_Click);
    connect(chkTrace, &QCheckBox::toggled, this, &frmMonitor::chkTrace_Click);
    connect(cmdCommand, &QPushButton::clicked, this, &frmMonitor::cmdCommand_Click);
    connect(cmdExit, &QPushButton::clicked, this, &frmMonitor::cmdExit_Click);
}

void frmMonitor::buildMenus() {
    const auto item = [](QMenu* menu, const char* name, const char* caption,
                         const QKeySequence& key = {}) {
        QAction* action = menu->addAction(QString::fromLatin1(caption));
        action->setObjectName(QString::fromLatin1(name));
        action->setShortcut(key);
        return action;
    };
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    mnuExit = item(file, "mnuExit", "&Exit");

    QMenu* monitor = menuBar()->addMenu(QStringLiteral("&Monitor"));
    monitor->setObjectName(QStringLiteral("mnuMonitor"));
    mnuSuspend = item(monitor, "mnuSuspend", "&Start", Qt::Key_F4);
    mnuRunNow = item(monitor, "mnuRunNow", "&Run now", Qt::Key_F5);
    mnuRunNow->setEnabled(false);
    mnuManualMailIn = item(monitor, "mnuManualMailIn", "&Preview In-Box Messages");
    mnuManualMailIn->setEnabled(false);
    mnuClearErrorWarning =
        item(monitor, "mnuClearErrorWarning", "&Clear Error Warning", Qt::Key_F6);
    mnuNetSendSetup = item(monitor, "mnuNetSendSetup", "&Configure Net Send options...");

    QMenu* log = menuBar()->addMenu(QStringLiteral("&Log"));
    log->setObjectName(QStringLiteral("mnulog"));
    mnuViewErrorLog = item(log, "mnuViewErrorLog", "&View Log File", Qt::Key_F7);
    mnuSendLogToHalvex = item(log, "mnuSendLogToHalvex", "&Send Log File to Support", Qt::Key_F8);
    mnuClearLogFile = item(log, "mnuClearLogFile", "&Clear Log File", Qt::Key_F9);

    connect(mnuExit, &QAction::triggered, this, &frmMonitor::mnuExit_Click);
    connect(mnuSuspend, &QAction::triggered, this, &frmMonitor::mnuSuspend_Click);
    connect(mnuRunNow, &QAction::triggered, this, &frmMonitor::mnuRunNow_Click);
    connect(mnuManualMailIn, &QAction::triggered, this, &frmMonitor::mnuManualMailIn_Click);
    connect(mnuNetSendSetup, &QAction::triggered, this, [this] { NetSendSetup(ctx_); });
    connect(mnuViewErrorLog, &QAction::triggered, this, &frmMonitor::mnuViewErrorLog_Click);
    connect(mnuSendLogToHalvex, &QAction::triggered, this, &frmMonitor::mnuSendLogToHalvex_Click);
    connect(mnuClearLogFile, &QAction::triggered, this, &frmMonitor::mnuClearLogFile_Click);
    connect(mnuClearErrorWarning, &QAction::triggered, this,
            &frmMonitor::mnuClearErrorWarning_Click);
}

void frmMonitor::CentreForm() {
    RunTrapped(ctx_, code::kCentreForm, [&] {
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            const QRect area = screen->geometry();
            move(area.x() + (area.width() - frameGeometry().width()) / 2,
                 area.y() + (area.height() - frameGeometry().height()) / 2);
        }
    });
}

void frmMonitor::Form_Load() {
    const bool loaded = RunTrapped(ctx_, code::kFormLoad, [&] {
        setWindowTitle(ctx_.applicationTitle);
        mnuSendLogToHalvex->setText(QStringLiteral("Send Log File to ") + ctx_.shortCompanyName +
                                    QStringLiteral(" Support"));
        required(ctx_.termTranslator.get()).TranslateForm(this, ctx_.termContext);
        CentreForm();
        ctx_.procedureCode = code::kFormLoad;
        show();
        if (ctx_.env.userInterface != nullptr) {
            ctx_.env.userInterface->processEvents();
        }

        chkReadEmail->setChecked(!ctx_.stop.readingEmail);
        chkSendEmail->setChecked(!ctx_.stop.sendingEmail);
        if (settings_.UseSLAs) {
            chkCheckSLAs->setChecked(!ctx_.stop.processingSLAs);
        } else {
            chkCheckSLAs->setChecked(false);
            chkCheckSLAs->setEnabled(false);
        }
        chkProcessOnHoldRequests->setChecked(!ctx_.stop.onHold);
        ctx_.procedureCode = code::kFormLoad;
        chkTrace->setChecked(toBoolean(
            GetRegValue(ctx_, QString(section::kSharedOptions), value::kTrace, defaults::kTrace)));
        ctx_.procedureCode = code::kFormLoad;

        UpdateStatusBar(ctx_.databaseDescription, 3);
        Timer1->setInterval(1000);
        Timer1->stop();
        const QString autoStart = required(settings_.collection.get())
                                      .Item(QStringLiteral("AutoStartMonitor"))
                                      ->SettingValue()
                                      .toString();
        if (autoStart == QLatin1String("1")) {
            StartSuspendResume();
        }
    });
    // Failed before the window showed: it shows anyway, idle, so that the operator can close it.
    if (!loaded && !isVisible()) {
        show();
    }
}

void frmMonitor::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    Form_Resize();
}

void frmMonitor::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    // The resize that comes with the first show arrives while the window is not yet visible.
    if (!event->spontaneous()) {
        Form_Resize();
    }
}

void frmMonitor::Form_Resize() {
    RunTrapped(ctx_, code::kFormResize, [&] {
        if (!isVisible() || isMinimized()) {
            return;
        }
        const QSize outer = outerTwips();
        const int top = std::max(kButtonTop, outer.height() - kDesignHeight + kButtonTop);
        const int exitLeft = std::max(kExitLeft, outer.width() - kDesignWidth + kExitLeft);
        placeTwips(cmdExit, exitLeft, top, kButtonWidth, kButtonHeight);
        placeTwips(cmdCommand, exitLeft - (kButtonWidth + 60), top, kButtonWidth, kButtonHeight);
        placeTwips(chkTrace, 120, top + kButtonHeight - kTraceHeight, 1035, kTraceHeight);
    });
}

QString frmMonitor::readControl(QLatin1String name, QLatin1String fallback) {
    return GetRegValue(ctx_, ctx_.controlsSection, name, fallback);
}

void frmMonitor::writeControl(QLatin1String name, const QString& value) {
    SaveRegValue(ctx_, ctx_.controlsSection, name, value);
}

void frmMonitor::critical(const QString& text) {
    tellOperator(ctx_, text, MessageIcon::Critical);
}

}  // namespace hvx
