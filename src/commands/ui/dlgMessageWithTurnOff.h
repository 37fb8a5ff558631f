#pragma once

#include "MessageWithTurnOffFields.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QPushButton;

namespace hvx {

struct AppContext;

// A question with one of four button sets and a box that turns it off for good. Laid out in
// twips when it loads: the label grows to fit the message, the buttons and the box stay at
// the bottom, 660 twips below the label. The turn-off is recorded under "Warnings" however
// the dialog closes.
class dlgMessageWithTurnOff final : public QDialog, public MessageWithTurnOffFields {
    Q_OBJECT

  public:
    static constexpr int kClientWidth = 6825;

    explicit dlgMessageWithTurnOff(AppContext& ctx, QWidget* parent = nullptr);

    void Show() override;

    void Form_Load();
    void ArrangeControls();
    void cmdOK_Click();
    void cmdCancel_Click();
    void cmdYes_Click();
    void cmdNo_Click();

    QRect twipsGeometry(const QWidget* control) const;

  protected:
    void done(int result) override;
    // Escape presses the cancel button of the button set, and does nothing without one.
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void place(QWidget* control, int left, int top, int width, int height);
    void answer(long response, bool cancelled);
    void Form_Unload();

    AppContext& ctx_;
    bool unloaded_ = false;

    QLabel* Image1;
    QLabel* Label1;
    QPushButton* cmdYes;
    QPushButton* cmdNo;
    QCheckBox* chkNoMore;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;
    QPushButton* escapeButton_ = nullptr;
};

}  // namespace hvx
