#pragma once

#include "MonitorLoopState.h"
#include "channel/RegFunctions.h"
#include "platform/OsServices.h"

#include <QIcon>
#include <QMainWindow>

#include <cstdint>
#include <memory>

class QAction;
class QCheckBox;
class QFrame;
class QGroupBox;
class QLabel;
class QMenu;
class QPushButton;
class QTimer;

namespace hvx {

struct AppContext;
class StatusPanel;
struct SystemSettings;

// The Monitor's main window. Its one-second timer is the heart of the program: each tick reads
// the core application's state from the control channel, refreshes the status display, applies
// the scheduled hours, handles aborts, and starts, renews or gives up on the core application.
// The procedures are public so that tests can drive them one by one; the loop's state is
// private and shows only through loopState(). They take their time from the context's Clock
// and reach the OS only through the Environment.
class frmMonitor final : public QMainWindow {
    Q_OBJECT

  public:
    // Designed outer size and layout, in twips.
    static constexpr int kDesignWidth = 6030;
    static constexpr int kDesignHeight = 3765;
    static constexpr int kClientWidth = 5910;
    static constexpr int kClientHeight = 2955;

    // The program starts the loop from zero; a test or a benchmark may start it part-way.
    frmMonitor(AppContext& ctx, SystemSettings& settings, const MonitorLoopState& start = {},
               QWidget* parent = nullptr);
    ~frmMonitor() override;

    // Loading and layout.
    void Form_Load();
    void Form_Resize();
    void CentreForm();

    // The timer loop and the core application.
    void Timer1_Timer();
    bool IsCoreRunning();
    bool ShouldStartCore(DateValue& coreStartTime, DateValue& coreStopTime);

    // Run control.
    void cmdCommand_Click();
    void mnuSuspend_Click();
    void StartSuspendResume();
    void ApplySchedule();
    bool HandleCoreAbort(int abortCount);

    // Status display.
    void UpdateStatusBar(const QString& s, int Panel);
    void ShowStatus();
    void ShowRunState();

    // Settings housekeeping, as the window runs it.
    int RefreshSystemSettings();
    int CheckOldUnsentMessages();

    // Service switches and processing commands.
    void chkReadEmail_Click();
    void chkSendEmail_Click();
    void chkCheckSLAs_Click();
    void chkProcessOnHoldRequests_Click();
    void chkTrace_Click();
    void mnuRunNow_Click();
    void mnuManualMailIn_Click();

    // Log file and error warning commands.
    void mnuViewErrorLog_Click();
    void mnuSendLogToHalvex_Click();
    void mnuClearLogFile_Click();
    void mnuClearErrorWarning_Click();
    void ErrorLogFrame_DblClick();
    void imgErrorLog_DblClick();
    void lblErrorLog_DblClick();

    // Closing: the question, then the shutdown. Every way of closing comes here.
    bool Form_QueryUnload();
    void Form_Unload();
    void cmdExit_Click();
    void mnuExit_Click();

    // A control's position and size in twips, for layout checks.
    QRect twipsGeometry(const QWidget* control) const;
    int toPixels(int twips) const;
    int toTwips(int pixels) const;
    // The window's outer size in twips, as the layout arithmetic sees it.
    QSize outerTwips() const;

    // The loop's state as it stands, with the timer's.
    MonitorLoopView loopState() const;

  Q_SIGNALS:
    // The error indicator has just come up (once per appearance): the moment for alerts.
    void errorIndicatorRaised();

  protected:
    void resizeEvent(QResizeEvent* event) override;
    // The layout is made when the window first shows, not only on later resizes.
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    // Double clicks on the error indicator's parts.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void buildControls();
    void buildMenus();
    void placeTwips(QWidget* control, int left, int top, int width, int height);
    void append(const char* token) { loop_.tickTrace += QLatin1String(token); }
    void writeTickTrace();
    // The tick's steps from the status display to the run state; answers false when the tick
    // must end without re-arming the timer.
    bool superviseCore(const QString& previousTrace);
    // The start of the core application; false when it ended in a message.
    bool launchCore();
    bool coreStartTimedOut();
    // Shows the core application's error information in the indicator's designed frame.
    void showErrorInfo(const QString& errorInfo);
    void viewLogFromIndicator(long code);
    void critical(const QString& text);
    QString readControl(QLatin1String name, QLatin1String fallback);
    void writeControl(QLatin1String name, const QString& value);

    AppContext& ctx_;
    SystemSettings& settings_;
    MonitorLoopState loop_;
    std::unique_ptr<CaptionAnnouncement> announcement_;
    bool unloaded_ = false;

    QGroupBox* Frame1;
    QCheckBox* chkReadEmail;
    QCheckBox* chkSendEmail;
    QCheckBox* chkCheckSLAs;
    QCheckBox* chkProcessOnHoldRequests;
    QCheckBox* chkTrace;
    QTimer* Timer1;
    QFrame* ErrorLogFrame;
    QLabel* imgErrorLog;
    QLabel* lblErrorLog;
    QPushButton* cmdCommand;
    QPushButton* cmdExit;
    QIcon imgStd;
    QIcon imgExclaim;
    // The error information in full; the label shows as much of it as its frame holds.
    QString errorLogText_;
    // The control channel as the last tick read it, listed again when the store changed.
    SectionSnapshot controlValues_;
    // The uptime text last made, and for how many minutes.
    QString uptime_;
    std::int64_t uptimeMinutes_ = 0;
    StatusPanel* panels_[3];
    QAction* mnuExit;
    QAction* mnuSuspend;
    QAction* mnuRunNow;
    QAction* mnuManualMailIn;
    QAction* mnuClearErrorWarning;
    QAction* mnuNetSendSetup;
    QAction* mnuViewErrorLog;
    QAction* mnuSendLogToHalvex;
    QAction* mnuClearLogFile;
};

}  // namespace hvx
