#pragma once

#include "platform/Dialogs.h"
#include "startup/MonitorNames.h"

#include <QDialog>

class QComboBox;

namespace hvx {

struct AppContext;

// "Select the Monitor instance": the instances of monitornames.txt in a combo box. OK checks
// the choice and keeps the dialog open while it is refused; Cancel, Escape and the close box
// leave it cancelled.
class dlgMonitorNames final : public QDialog, public MonitorNamesDialog {
    Q_OBJECT

  public:
    explicit dlgMonitorNames(AppContext& ctx, QWidget* parent = nullptr);

    void Show() override;
    bool Cancelled() const override { return cancelled_; }
    QString DBINIPath() const override { return dbIniPath_; }
    QString MonitorName() const override { return monitorName_; }

    void Form_Load();
    void cmdOK_Click();
    void cmdCancel_Click();

  private:
    AppContext& ctx_;
    bool cancelled_ = true;
    QString dbIniPath_;
    QString monitorName_;
    std::vector<MonitorNameEntry> entries_;
    QComboBox* cboMonitorName;
};

// The instance choice without an operator: logs the list, then takes "select:NAME" (the
// first entry of that name, then OK) or "cancel". As in the dialog, a load error and a refused
// choice are message boxes, each a line of its own that takes an answer of its own; after a
// refusal the next token is taken. An empty queue cancels; any other token is refused (the
// line carries it as "refused") and cancels.
class UnattendedSession;
class UnattendedMonitorNames final : public MonitorNamesDialog {
  public:
    UnattendedMonitorNames(AppContext& ctx, UnattendedSession& session);

    void Show() override;
    bool Cancelled() const override { return cancelled_; }
    QString DBINIPath() const override { return dbIniPath_; }
    QString MonitorName() const override { return monitorName_; }

  private:
    AppContext& ctx_;
    UnattendedSession& session_;
    bool cancelled_ = true;
    QString dbIniPath_;
    QString monitorName_;
};

}  // namespace hvx
