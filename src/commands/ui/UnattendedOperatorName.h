#pragma once

#include "platform/Dialogs.h"

#include <QString>

namespace hvx {

struct AppContext;
class UnattendedSession;

// The alert set-up without an operator. It records one JSON line (kind "dlgOperatorName")
// with the stored set-up, then answers from the queue:
//   "cancel"                       nothing is saved;
//   "ok"                           OK with the set-up as loaded;
//   "ok:MESSAGE;DEST1;DEST2;DEST3" types these texts (missing ones are empty), then OK.
// Texts cannot hold a comma (the queue's separator) or a semicolon. OK goes through the same
// quotes rule as the dialog: a refusal shows the message box (a line of its own that takes its
// own answer from the queue) and the next token is taken, as an operator would try again. An
// empty queue cancels; any other token is refused (the line carries it as "refused") and
// cancels. Each answer is recorded as a line of its own, before the box it may bring.
class UnattendedOperatorName final : public OperatorNameDialog {
  public:
    // Neither is owned; both must outlive this.
    UnattendedOperatorName(AppContext& ctx, UnattendedSession& session);

    void Show() override;

  private:
    AppContext& ctx_;
    UnattendedSession& session_;
};

}  // namespace hvx
