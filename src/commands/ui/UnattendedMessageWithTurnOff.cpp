#include "UnattendedMessageWithTurnOff.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/MessageBoxes.h"
#include "platform/qt/UnattendedSession.h"

#include <QJsonObject>

namespace hvx {

UnattendedMessageWithTurnOff::UnattendedMessageWithTurnOff(AppContext& ctx,
                                                           UnattendedSession& session)
    : ctx_(ctx), session_(session) {
    // Until an answer comes, the dialog counts as closed by its close box.
    cancelled_ = true;
}

QString UnattendedMessageWithTurnOff::buttons() const {
    if (okOnly_) {
        return buttonsToken(MessageButtons::OkOnly);
    }
    if (okCancel_) {
        return buttonsToken(MessageButtons::OkCancel);
    }
    if (yesNo_) {
        return buttonsToken(MessageButtons::YesNo);
    }
    if (yesNoCancel_) {
        return buttonsToken(MessageButtons::YesNoCancel);
    }
    return QStringLiteral("All");
}

void UnattendedMessageWithTurnOff::Show() {
    QString token = session_.takeAnswer().value_or(QString());
    const bool turnOff = token.endsWith(QLatin1String("+off"));
    if (turnOff) {
        token.chop(4);
    }
    if (const auto answer = answerFromToken(token)) {
        response_ = static_cast<long>(*answer);
        cancelled_ = *answer == MessageAnswer::Cancel;
    }
    session_.record(
        {{QStringLiteral("kind"), QStringLiteral("dlgMessageWithTurnOff")},
         {QStringLiteral("title"),
          formCaption_.isEmpty() ? QStringLiteral("Halvex Help Desk") : formCaption_},
         {QStringLiteral("text"), msg_},
         {QStringLiteral("buttons"), buttons()},
         {QStringLiteral("icon"), static_cast<int>(pictureType_)},
         {QStringLiteral("turnOffBox"), warningOffKey_.isEmpty() ? QString() : warningOffMessage_},
         {QStringLiteral("answer"), token.isEmpty() ? QStringLiteral("close") : token},
         {QStringLiteral("turnedOff"), turnOff && !warningOffKey_.isEmpty()}});
    RunTrapped(ctx_, code::kDlgTurnOffFormUnload, [&] {
        if (turnOff && !warningOffKey_.isEmpty()) {
            SaveRegValue(ctx_, QString(section::kWarnings), warningOffKey_, QStringLiteral("1"));
        }
    });
}

}  // namespace hvx
