#include "UnattendedDeleteOldMessages.h"

#include "platform/MessageBoxes.h"
#include "platform/qt/UnattendedSession.h"
#include "settings/OldUnsentMessages.h"

#include <QJsonObject>

namespace hvx {

UnattendedDeleteOldMessages::UnattendedDeleteOldMessages(UnattendedSession& session,
                                                         MessageBoxes& boxes)
    : session_(session), boxes_(boxes) {}

void UnattendedDeleteOldMessages::Show() {
    const QString kind = QStringLiteral("dlgDeleteOldMessages");
    session_.record({{QStringLiteral("kind"), kind},
                     {QStringLiteral("title"), QStringLiteral("Delete unsent messages")},
                     {QStringLiteral("text"), oldMessagesWarning(count_)},
                     {QStringLiteral("choices"), QStringLiteral("keep,all,days:N,cancel")}});
    for (;;) {
        const auto token = session_.takeAnswer();
        QJsonObject line{{QStringLiteral("kind"), kind}};
        QString refusal;
        if (token == QLatin1String("keep")) {
            userChoice_ = kKeep;
        } else if (token == QLatin1String("all")) {
            userChoice_ = kDeleteAll;
        } else if (token && token->startsWith(QLatin1String("days:"))) {
            userChoice_ = kDeleteOlderThanDays;
            refusal = daysRefusal(token->mid(5), daysToDelete_);
            if (!refusal.isEmpty()) {
                userChoice_ = kNoChoice;
            }
        } else {
            cancelled_ = true;
            if (token && *token != QLatin1String("cancel")) {
                line.insert(QStringLiteral("refused"), *token);
            }
        }
        line.insert(QStringLiteral("answer"), cancelled_ ? QStringLiteral("cancel") : *token);
        line.insert(QStringLiteral("UserChoice"), userChoice_);
        line.insert(QStringLiteral("DaysToDelete"), daysToDelete_);
        line.insert(QStringLiteral("Cancelled"), cancelled_);
        session_.record(line);
        if (refusal.isEmpty()) {
            return;
        }
        // The dialog's refusal is a box of its own; the dialog stays open for the next token.
        boxes_.Show({refusal, QStringLiteral("Halvex Help Desk"), MessageIcon::Exclamation,
                     MessageButtons::OkOnly, 1});
    }
}

}  // namespace hvx
