#include "UnattendedSession.h"

#include <QFile>
#include <QJsonDocument>

#include <cstdio>
#include <utility>

namespace hvx {

UnattendedSession::UnattendedSession(QString destination, const QString& answers)
    : destination_(std::move(destination)) {
    for (const QString& token : answers.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        answers_.append(token.trimmed());
    }
}

std::optional<UnattendedSession> UnattendedSession::fromEnvironment() {
    if (!qEnvironmentVariableIsSet("HVX_UNATTENDED")) {
        return std::nullopt;
    }
    return UnattendedSession(qEnvironmentVariable("HVX_UNATTENDED"),
                             qEnvironmentVariable("HVX_ANSWERS"));
}

std::optional<QString> UnattendedSession::takeAnswer() {
    if (answers_.isEmpty()) {
        return std::nullopt;
    }
    return answers_.takeFirst();
}

void UnattendedSession::record(const QJsonObject& line) const {
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    const bool toStderr = destination_.isEmpty() || destination_ == QLatin1String("1");
    if (!toStderr) {
        QFile file(destination_);
        if (file.open(QIODevice::WriteOnly | QIODevice::Append) &&
            file.write(text) == text.size()) {
            return;
        }
    }
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stderr);
    std::fflush(stderr);
}

}  // namespace hvx
