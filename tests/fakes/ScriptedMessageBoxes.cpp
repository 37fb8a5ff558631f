#include "ScriptedMessageBoxes.h"

#include <QStringList>

namespace hvx::test {

MessageAnswer ScriptedMessageBoxes::Show(const MessageBoxRequest& request) {
    shown_.push_back(request);
    if (answers_.empty()) {
        return defaultAnswerOf(request);
    }
    const MessageAnswer answer = answers_.front();
    answers_.pop_front();
    return answer;
}

QStringList ScriptedMessageBoxes::texts() const {
    QStringList all;
    for (const auto& request : shown_) {
        all.append(request.text);
    }
    return all;
}

}  // namespace hvx::test
