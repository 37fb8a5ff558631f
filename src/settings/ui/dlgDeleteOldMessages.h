#pragma once

#include "platform/Dialogs.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QRadioButton;

namespace hvx {

class MessageBoxes;

// Asks whether to keep the old unsent messages, delete them all, or delete those older than a
// number of days. OK checks the number of days and keeps the dialog open while it is wrong;
// Cancel and Escape cancel; the close box leaves no choice (the caller keeps the messages).
class dlgDeleteOldMessages final : public QDialog, public DeleteOldMessagesDialog {
    Q_OBJECT

  public:
    // `boxes` is not owned and must outlive the dialog.
    explicit dlgDeleteOldMessages(MessageBoxes& boxes, QWidget* parent = nullptr);

    void SetOldUnsentCount(int count) override;
    void Show() override;
    int UserChoice() const override { return userChoice_; }
    int DaysToDelete() const override { return daysToDelete_; }
    bool Cancelled() const override { return cancelled_; }

    void cmdOK_Click();
    void cmdCancel_Click();

  protected:
    // Escape is the Cancel button; the close box is not.
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Form_Load();
    void refuseDays(const QString& text);

    MessageBoxes& boxes_;
    int oldUnsentCount_ = 0;
    int userChoice_ = kNoChoice;
    int daysToDelete_ = 0;
    bool cancelled_ = false;
    QLabel* lblExplain_;
    QRadioButton* option_[3];
    QLineEdit* txtDays_;
};

}  // namespace hvx
