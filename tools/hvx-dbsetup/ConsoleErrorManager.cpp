#include "ConsoleErrorManager.h"

#include <utility>

namespace hvx {

ConsoleErrorManager::ConsoleErrorManager(QString program, std::FILE* stream)
    : program_(std::move(program)), stream_(stream) {}

void ConsoleErrorManager::Report(bool& isTrace) {
    if (isTrace) {
        return;
    }
    const QByteArray line =
        (program_ + QStringLiteral(": ") + masked(text_) + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stream_);
    std::fflush(stream_);
}

void ConsoleErrorManager::Conceal(const QString& secret) {
    if (!secret.isEmpty() && !secrets_.contains(secret)) {
        secrets_.append(secret);
    }
}

QString ConsoleErrorManager::masked(QString text) const {
    for (const QString& secret : secrets_) {
        text.replace(secret, QStringLiteral("********"));
    }
    return text;
}

}  // namespace hvx
