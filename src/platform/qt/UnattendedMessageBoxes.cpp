#include "UnattendedMessageBoxes.h"

#include "UnattendedSession.h"

#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace hvx {

UnattendedMessageBoxes::UnattendedMessageBoxes(UnattendedSession& session, QString defaultTitle)
    : session_(session), defaultTitle_(std::move(defaultTitle)) {}

MessageAnswer UnattendedMessageBoxes::Show(const MessageBoxRequest& request) {
    MessageAnswer answer = defaultAnswerOf(request);
    QJsonObject line{
        {QStringLiteral("kind"), QStringLiteral("messagebox")},
        {QStringLiteral("title"), request.title.value_or(defaultTitle_)},
        {QStringLiteral("text"), request.text},
        {QStringLiteral("icon"), iconToken(request.icon)},
        {QStringLiteral("buttons"), buttonsToken(request.buttons)},
    };
    if (const auto token = session_.takeAnswer()) {
        const auto wanted = answerFromToken(*token);
        const auto buttons = buttonsOf(request.buttons);
        if (wanted && std::find(buttons.begin(), buttons.end(), *wanted) != buttons.end()) {
            answer = *wanted;
        } else {
            line.insert(QStringLiteral("refused"), *token);
        }
    }
    line.insert(QStringLiteral("answer"), answerToken(answer));
    session_.record(line);
    return answer;
}

}  // namespace hvx
