#pragma once

#include "platform/MessageBoxes.h"

namespace hvx {

class UnattendedSession;

// Message boxes for machines without an operator: each box is one JSON line with the fields
// kind, title, text, icon, buttons and answer. The answer is the next queued token when it
// names one of the box's buttons. A token that fits none of them is refused (the line carries
// it as "refused") and the default button answers, as it does when the queue is empty.
class UnattendedMessageBoxes final : public MessageBoxes {
  public:
    // `session` is not owned and must outlive this.
    UnattendedMessageBoxes(UnattendedSession& session, QString defaultTitle);

    MessageAnswer Show(const MessageBoxRequest& request) override;

  private:
    UnattendedSession& session_;
    QString defaultTitle_;
};

}  // namespace hvx
