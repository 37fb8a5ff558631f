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
        (program_ + QStringLiteral(": ") + ErrorText() + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stream_);
    std::fflush(stream_);
}

}  // namespace hvx
