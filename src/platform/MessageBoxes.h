#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace hvx {

enum class MessageIcon { None, Critical, Question, Exclamation, Information };

enum class MessageButtons { OkOnly, OkCancel, AbortRetryIgnore, YesNoCancel, YesNo, RetryCancel };

// The answer codes of the classic message box.
enum class MessageAnswer { Ok = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };

struct MessageBoxRequest {
    QString text;
    // No title: the program's default title (its name).
    std::optional<QString> title;
    MessageIcon icon = MessageIcon::None;
    MessageButtons buttons = MessageButtons::OkOnly;
    // 1, 2 or 3: the position of the default button among the buttons.
    int defaultButton = 1;
};

// Every message box of the program goes through here. Modal: returns when answered.
class MessageBoxes {
  public:
    virtual ~MessageBoxes() = default;
    virtual MessageAnswer Show(const MessageBoxRequest& request) = 0;
};

// The buttons of a set, left to right.
std::vector<MessageAnswer> buttonsOf(MessageButtons buttons);
// The default button's answer; a position beyond the set falls back to the first button.
MessageAnswer defaultAnswerOf(const MessageBoxRequest& request);
// What closing the box without a button gives: Cancel where there is one, OK for a lone OK,
// otherwise nothing (the box cannot be dismissed).
std::optional<MessageAnswer> escapeAnswerOf(MessageButtons buttons);

// Lower-case tokens used by the unattended mode and the tests: "ok", "yes", "no", ...
QString answerToken(MessageAnswer answer);
std::optional<MessageAnswer> answerFromToken(const QString& token);
QString iconToken(MessageIcon icon);
QString buttonsToken(MessageButtons buttons);

}  // namespace hvx
