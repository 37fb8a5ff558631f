#include "UnattendedOperatorName.h"

#include "commands/NetSendAlerts.h"
#include "platform/qt/UnattendedSession.h"

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

namespace hvx {

namespace {

const QString kKind = QStringLiteral("dlgOperatorName");

QJsonObject describe(const AlertSetup& setup) {
    QJsonArray destinations;
    for (const QString& destination : setup.destinations) {
        destinations.append(destination);
    }
    return {{QStringLiteral("message"), setup.message},
            {QStringLiteral("destinations"), destinations}};
}

// The texts of an "ok:" token, or nothing when it holds too many fields.
std::optional<AlertSetup> typedSetup(const QString& fields) {
    const QStringList parts = fields.split(QLatin1Char(';'));
    if (parts.size() > 4) {
        return std::nullopt;
    }
    AlertSetup setup;
    setup.message = parts.value(0);
    for (std::size_t i = 0; i < setup.destinations.size(); ++i) {
        setup.destinations[i] = parts.value(static_cast<qsizetype>(i) + 1);
    }
    return setup;
}

}  // namespace

UnattendedOperatorName::UnattendedOperatorName(AppContext& ctx, UnattendedSession& session)
    : ctx_(ctx), session_(session) {}

void UnattendedOperatorName::Show() {
    AlertSetup loaded;
    try {
        ReadAlertSetup(ctx_, loaded);
    } catch (...) {
        // Like the dialog: the boxes after the failed read stay empty.
    }
    QJsonObject shown = describe(loaded);
    shown.insert(QStringLiteral("kind"), kKind);
    shown.insert(QStringLiteral("title"), QStringLiteral("Operator Alert"));
    shown.insert(QStringLiteral("choices"),
                 QStringLiteral("ok,ok:MESSAGE;DEST1;DEST2;DEST3,cancel"));
    session_.record(shown);

    for (;;) {
        const std::optional<QString> token = session_.takeAnswer();
        std::optional<AlertSetup> typed;
        if (token == QLatin1String("ok")) {
            typed = loaded;
        } else if (token && token->startsWith(QLatin1String("ok:"))) {
            typed = typedSetup(token->mid(3));
        }
        QJsonObject answer = typed ? describe(*typed) : QJsonObject();
        answer.insert(QStringLiteral("kind"), kKind);
        answer.insert(QStringLiteral("answer"), typed ? *token : QStringLiteral("cancel"));
        if (!typed && token && *token != QLatin1String("cancel")) {
            answer.insert(QStringLiteral("refused"), *token);
        }
        // Recorded before the save, whose refusal is a box of its own.
        session_.record(answer);
        const bool saved = typed && SaveAlertSetup(ctx_, *typed);
        if (!typed || saved) {
            return;
        }
    }
}

}  // namespace hvx
