#pragma once

#include "platform/MessageBoxes.h"

#include <deque>
#include <vector>

namespace hvx::test {

// Records every box and answers from a queue, then with the default button.
class ScriptedMessageBoxes final : public MessageBoxes {
  public:
    MessageAnswer Show(const MessageBoxRequest& request) override;

    void queue(MessageAnswer answer) { answers_.push_back(answer); }
    const std::vector<MessageBoxRequest>& shown() const { return shown_; }
    QStringList texts() const;
    void clear() { shown_.clear(); }

  private:
    std::deque<MessageAnswer> answers_;
    std::vector<MessageBoxRequest> shown_;
};

}  // namespace hvx::test
