#pragma once

#include "platform/MessageBoxes.h"

#include <QStringList>

#include <deque>
#include <vector>

namespace hvx::test {

// Records every box and answers from a queue, then with the default button.
class ScriptedMessageBoxes final : public MessageBoxes {
  public:
    MessageAnswer Show(const MessageBoxRequest& request) override {
        shown_.push_back(request);
        if (answers_.empty()) {
            return defaultAnswerOf(request);
        }
        const MessageAnswer answer = answers_.front();
        answers_.pop_front();
        return answer;
    }

    void queue(MessageAnswer answer) { answers_.push_back(answer); }
    const std::vector<MessageBoxRequest>& shown() const { return shown_; }
    QStringList texts() const {
        QStringList all;
        for (const auto& request : shown_) {
            all.append(request.text);
        }
        return all;
    }

  private:
    std::deque<MessageAnswer> answers_;
    std::vector<MessageBoxRequest> shown_;
};

}  // namespace hvx::test
