#pragma once

#include "MessageWithTurnOffFields.h"
#include "platform/MessageBoxes.h"

#include <QString>

#include <optional>

namespace hvx {

struct AppContext;
class UnattendedSession;

// The confirmation without an operator: one JSON line (kind "dlgMessageWithTurnOff") and an
// answer from the queue: "ok", "cancel", "yes" or "no", with "+off" to tick the turn-off box
// ("no+off"). An empty queue closes it as the close box would (Response 0, Cancelled); so does
// a token that names none of the dialog's buttons, which the line carries as "refused".
class UnattendedMessageWithTurnOff final : public MessageWithTurnOffFields {
  public:
    UnattendedMessageWithTurnOff(AppContext& ctx, UnattendedSession& session);

    void Show() override;

  private:
    // The set the properties ask for; nothing when none does (all four buttons show).
    std::optional<MessageButtons> buttonSet() const;

    AppContext& ctx_;
    UnattendedSession& session_;
};

}  // namespace hvx
