#include "UnattendedMessageWithTurnOff.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/MessageBoxes.h"
#include "platform/qt/UnattendedSession.h"

#include <QJsonObject>

#include <algorithm>
#include <vector>

namespace hvx {

UnattendedMessageWithTurnOff::UnattendedMessageWithTurnOff(AppContext& ctx,
                                                           UnattendedSession& session)
    : ctx_(ctx), session_(session) {
    // Until an answer comes, the dialog counts as closed by its close box.
    cancelled_ = true;
}

std::optional<MessageButtons> UnattendedMessageWithTurnOff::buttonSet() const {
    if (okOnly_) {
        return MessageButtons::OkOnly;
    }
    if (okCancel_) {
        return MessageButtons::OkCancel;
    }
    if (yesNo_) {
        return MessageButtons::YesNo;
    }
    if (yesNoCancel_) {
        return MessageButtons::YesNoCancel;
    }
    return std::nullopt;
}

void UnattendedMessageWithTurnOff::Show() {
    const std::optional<MessageButtons> set = buttonSet();
    // Without a set of its own the dialog shows all four buttons.
    const std::vector<MessageAnswer> shown =
        set ? buttonsOf(*set)
            : std::vector<MessageAnswer>{MessageAnswer::Yes, MessageAnswer::No, MessageAnswer::Ok,
                                         MessageAnswer::Cancel};
    const std::optional<QString> token = session_.takeAnswer();
    QString button = token.value_or(QString());
    const bool turnOff = button.endsWith(QLatin1String("+off"));
    if (turnOff) {
        button.chop(4);
    }
    const std::optional<MessageAnswer> answer = answerFromToken(button);
    const bool fits = answer && std::find(shown.begin(), shown.end(), *answer) != shown.end();
    if (fits) {
        response_ = static_cast<long>(*answer);
        cancelled_ = *answer == MessageAnswer::Cancel;
    }
    QJsonObject line{
        {QStringLiteral("kind"), QStringLiteral("dlgMessageWithTurnOff")},
        {QStringLiteral("title"),
         formCaption_.isEmpty() ? QStringLiteral("Halvex Help Desk") : formCaption_},
        {QStringLiteral("text"), msg_},
        {QStringLiteral("buttons"), set ? buttonsToken(*set) : QStringLiteral("All")},
        {QStringLiteral("icon"), static_cast<int>(pictureType_)},
        {QStringLiteral("turnOffBox"), warningOffKey_.isEmpty() ? QString() : warningOffMessage_},
        {QStringLiteral("answer"), fits ? *token : QStringLiteral("close")},
        {QStringLiteral("turnedOff"), fits && turnOff && !warningOffKey_.isEmpty()}};
    if (token && !fits) {
        line.insert(QStringLiteral("refused"), *token);
    }
    session_.record(line);
    RunTrapped(ctx_, code::kDlgTurnOffFormUnload, [&] {
        if (fits && turnOff && !warningOffKey_.isEmpty()) {
            SaveRegValue(ctx_, QString(section::kWarnings), warningOffKey_, QStringLiteral("1"));
        }
    });
}

}  // namespace hvx
