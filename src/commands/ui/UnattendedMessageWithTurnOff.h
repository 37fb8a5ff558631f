#pragma once

#include "MessageWithTurnOffFields.h"

#include <QString>

namespace hvx {

struct AppContext;
class UnattendedSession;

// The confirmation without an operator: one JSON line (kind "dlgMessageWithTurnOff") and an
// answer from the queue: "ok", "cancel", "yes" or "no", with "+off" to tick the turn-off box
// ("no+off"). An empty queue closes it as the close box would (Response 0, Cancelled).
class UnattendedMessageWithTurnOff final : public MessageWithTurnOffFields {
  public:
    UnattendedMessageWithTurnOff(AppContext& ctx, UnattendedSession& session);

    void Show() override;

  private:
    QString buttons() const;

    AppContext& ctx_;
    UnattendedSession& session_;
};

}  // namespace hvx
