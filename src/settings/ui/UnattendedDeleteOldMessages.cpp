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
    session_.record({{QStringLiteral("kind"), QStringLiteral("dlgDeleteOldMessages")},
                     {QStringLiteral("title"), QStringLiteral("Delete unsent messages")},
                     {QStringLiteral("text"), oldMessagesWarning(count_)},
                     {QStringLiteral("choices"), QStringLiteral("keep,all,days:N,cancel")}});
    for (;;) {
        const auto token = session_.takeAnswer();
        if (!token || apply(*token)) {
            if (!token) {
                cancelled_ = true;
            }
            session_.record({{QStringLiteral("kind"), QStringLiteral("dlgDeleteOldMessages")},
                             {QStringLiteral("answer"), token.value_or(QStringLiteral("cancel"))},
                             {QStringLiteral("UserChoice"), userChoice_},
                             {QStringLiteral("DaysToDelete"), daysToDelete_},
                             {QStringLiteral("Cancelled"), cancelled_}});
            return;
        }
    }
}

bool UnattendedDeleteOldMessages::apply(const QString& token) {
    if (token == QLatin1String("cancel")) {
        cancelled_ = true;
        return true;
    }
    if (token == QLatin1String("keep")) {
        userChoice_ = kKeep;
        return true;
    }
    if (token == QLatin1String("all")) {
        userChoice_ = kDeleteAll;
        return true;
    }
    const QString days = token.startsWith(QLatin1String("days:")) ? token.mid(5) : QString();
    const QString refusal = daysRefusal(days, daysToDelete_);
    if (!refusal.isEmpty()) {
        boxes_.Show({refusal, QStringLiteral("Halvex Help Desk"), MessageIcon::Exclamation,
                     MessageButtons::OkOnly, 1});
        userChoice_ = kNoChoice;
        return false;
    }
    userChoice_ = kDeleteOlderThanDays;
    return true;
}

}  // namespace hvx
