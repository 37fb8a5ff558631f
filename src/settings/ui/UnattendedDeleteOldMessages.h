#pragma once

#include "platform/Dialogs.h"

#include <QString>

namespace hvx {

class MessageBoxes;
class UnattendedSession;

// The old-messages question without an operator: logs its line (kind "dlgDeleteOldMessages",
// the warning as text) and answers from the queue: "keep", "all", "days:N" or "cancel". A
// number of days the dialog would refuse is refused the same way: its message box is a line of
// its own that takes an answer of its own, and the next token is taken. An empty queue
// cancels; any other token is refused (the line carries it as "refused") and cancels.
class UnattendedDeleteOldMessages final : public DeleteOldMessagesDialog {
  public:
    UnattendedDeleteOldMessages(UnattendedSession& session, MessageBoxes& boxes);

    void SetOldUnsentCount(int count) override { count_ = count; }
    void Show() override;
    int UserChoice() const override { return userChoice_; }
    int DaysToDelete() const override { return daysToDelete_; }
    bool Cancelled() const override { return cancelled_; }

  private:
    UnattendedSession& session_;
    MessageBoxes& boxes_;
    int count_ = 0;
    int userChoice_ = kNoChoice;
    int daysToDelete_ = 0;
    bool cancelled_ = false;
};

}  // namespace hvx
