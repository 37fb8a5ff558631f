#pragma once

#include "platform/Dialogs.h"

#include <QString>

namespace hvx {

struct AppContext;
class UnattendedSession;

// The confirmation without an operator: one JSON line (kind "dlgMessageWithTurnOff") and an
// answer from the queue: "ok", "cancel", "yes" or "no", with "+off" to tick the turn-off box
// ("no+off"). An empty queue closes it as the close box would (Response 0, Cancelled).
class UnattendedMessageWithTurnOff final : public MessageWithTurnOffDialog {
  public:
    UnattendedMessageWithTurnOff(AppContext& ctx, UnattendedSession& session);

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

  private:
    QString buttons() const;

    AppContext& ctx_;
    UnattendedSession& session_;
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
    bool cancelled_ = true;
};

}  // namespace hvx
