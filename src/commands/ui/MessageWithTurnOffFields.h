#pragma once

#include "platform/Dialogs.h"

#include <QString>

namespace hvx {

// The properties of the confirmation with turn-off, as the caller sets them and the dialog
// answers them; shared by the desktop and the unattended editions.
class MessageWithTurnOffFields : public MessageWithTurnOffDialog {
  public:
    void SetMsg(const QString& text) override { msg_ = text; }
    void SetYesNo(bool on) override { yesNo_ = on; }
    void SetYesNoCancel(bool on) override { yesNoCancel_ = on; }
    void SetOKOnly(bool on) override { okOnly_ = on; }
    void SetOKCancel(bool on) override { okCancel_ = on; }
    void SetWarningOffKey(const QString& key) override { warningOffKey_ = key; }
    void SetWarningOffMessage(const QString& text) override { warningOffMessage_ = text; }
    void SetFormCaption(const QString& caption) override { formCaption_ = caption; }
    void SetPictureType(long type) override { pictureType_ = type; }
    long Response() const override { return response_; }
    bool Cancelled() const override { return cancelled_; }

  protected:
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
};

}  // namespace hvx
