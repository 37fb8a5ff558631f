#include "MessageBoxes.h"

#include <array>
#include <utility>

namespace hvx {

namespace {

constexpr std::array<std::pair<MessageAnswer, const char*>, 7> kAnswerTokens{{
    {MessageAnswer::Ok, "ok"},
    {MessageAnswer::Cancel, "cancel"},
    {MessageAnswer::Abort, "abort"},
    {MessageAnswer::Retry, "retry"},
    {MessageAnswer::Ignore, "ignore"},
    {MessageAnswer::Yes, "yes"},
    {MessageAnswer::No, "no"},
}};

}  // namespace

std::vector<MessageAnswer> buttonsOf(MessageButtons buttons) {
    using A = MessageAnswer;
    switch (buttons) {
        case MessageButtons::OkOnly:
            return {A::Ok};
        case MessageButtons::OkCancel:
            return {A::Ok, A::Cancel};
        case MessageButtons::AbortRetryIgnore:
            return {A::Abort, A::Retry, A::Ignore};
        case MessageButtons::YesNoCancel:
            return {A::Yes, A::No, A::Cancel};
        case MessageButtons::YesNo:
            return {A::Yes, A::No};
        case MessageButtons::RetryCancel:
            return {A::Retry, A::Cancel};
    }
    return {A::Ok};
}

MessageAnswer defaultAnswerOf(const MessageBoxRequest& request) {
    const auto buttons = buttonsOf(request.buttons);
    const auto position = static_cast<std::size_t>(request.defaultButton);
    return position >= 1 && position <= buttons.size() ? buttons[position - 1] : buttons.front();
}

std::optional<MessageAnswer> escapeAnswerOf(MessageButtons buttons) {
    for (const MessageAnswer answer : buttonsOf(buttons)) {
        if (answer == MessageAnswer::Cancel) {
            return answer;
        }
    }
    if (buttons == MessageButtons::OkOnly) {
        return MessageAnswer::Ok;
    }
    return std::nullopt;
}

QString answerToken(MessageAnswer answer) {
    for (const auto& [value, token] : kAnswerTokens) {
        if (value == answer) {
            return QString::fromLatin1(token);
        }
    }
    return {};
}

std::optional<MessageAnswer> answerFromToken(const QString& token) {
    for (const auto& [value, text] : kAnswerTokens) {
        if (token.compare(QLatin1String(text), Qt::CaseInsensitive) == 0) {
            return value;
        }
    }
    return std::nullopt;
}

QString iconToken(MessageIcon icon) {
    switch (icon) {
        case MessageIcon::Critical:
            return QStringLiteral("critical");
        case MessageIcon::Question:
            return QStringLiteral("question");
        case MessageIcon::Exclamation:
            return QStringLiteral("exclamation");
        case MessageIcon::Information:
            return QStringLiteral("information");
        case MessageIcon::None:
            break;
    }
    return QStringLiteral("none");
}

QString buttonsToken(MessageButtons buttons) {
    switch (buttons) {
        case MessageButtons::OkOnly:
            return QStringLiteral("OKOnly");
        case MessageButtons::OkCancel:
            return QStringLiteral("OKCancel");
        case MessageButtons::AbortRetryIgnore:
            return QStringLiteral("AbortRetryIgnore");
        case MessageButtons::YesNoCancel:
            return QStringLiteral("YesNoCancel");
        case MessageButtons::YesNo:
            return QStringLiteral("YesNo");
        case MessageButtons::RetryCancel:
            return QStringLiteral("RetryCancel");
    }
    return {};
}

}  // namespace hvx
