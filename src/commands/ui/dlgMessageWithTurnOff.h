#pragma once

#include "platform/Dialogs.h"

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
class dlgMessageWithTurnOff final : public QDialog, public MessageWithTurnOffDialog {
    Q_OBJECT

  public:
    static constexpr int kClientWidth = 6825;

    explicit dlgMessageWithTurnOff(AppContext& ctx, QWidget* parent = nullptr);

    void SetMsg(const QString& text) override { msg_ = text; }
    void SetYesNo(bool on) override { yesNo_ = on; }
    void SetYesNoCancel(bool on) override { yesNoCancel_ = on; }
    void SetOKOnly(bool on) override { okOnly_ = on; }
    void SetOKCancel(bool on) override { okCancel_ = on; }
    void SetWarningOffKey(const QString& key) override { warningOffKey_ = key; }
    void SetWarningOffMessage(const QString& text) override { warningOffMessage_ = text; }
    void SetFormCaption(const QString& caption) override { formCaption_ = caption; }
    void SetPictureType(long type) override { pictureType_ = type; }
    void Show() override;
    long Response() const override { return response_; }
    bool Cancelled() const override { return cancelled_; }

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
    QString msg_;
    bool yesNo_ = false;
    bool yesNoCancel_ = false;
    bool okOnly_ = false;
    bool okCancel_ = false;
    QString warningOffKey_;
    QString warningOffMessage_;
    QString formCaption_;
    long pictureType_ = 0;
    long response_ = 0;
    bool cancelled_ = false;
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
