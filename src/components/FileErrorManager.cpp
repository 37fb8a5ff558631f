#include "FileErrorManager.h"

#include "platform/Clock.h"
#include "platform/MessageBoxes.h"

#include <QFile>
#include <QSaveFile>

namespace hvx {

namespace {

constexpr double kBytesPerMegabyte = 1024.0 * 1024.0;
// After trimming, the file holds this share of the limit, so the next trim is far away.
constexpr double kTrimTarget = 0.75;

QString stamp(const DateValue& now) {
    return now.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

}  // namespace

FileErrorManager::FileErrorManager(const Clock& clock, MessageBoxes* boxes)
    : clock_(clock), boxes_(boxes) {}

QString FileErrorManager::reportText() const {
    QString text = ErrorText();
    while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r'))) {
        text.chop(1);
    }
    return masked(text);
}

void FileErrorManager::Report(bool& isTrace) {
    const QString text = reportText();
    if (!LogFile().isEmpty()) {
        const QString mark = isTrace ? QStringLiteral("  TRACE  ") : QStringLiteral("  ERROR  ");
        append((stamp(clock_.now()) + mark + text).toUtf8() + '\n');
    }
    if (!isTrace && !StartupComplete() && boxes_ != nullptr) {
        MessageBoxRequest box;
        box.text = text;
        box.icon = MessageIcon::Critical;
        try {
            boxes_->Show(box);
        } catch (...) {
            // Showing is a courtesy; the report itself has been logged.
        }
    }
}

void FileErrorManager::append(const QByteArray& line) {
    QFile file(LogFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        return;
    }
    if (file.write(line) != line.size()) {
        return;
    }
    const qint64 size = file.size();
    file.close();
    if (size > limitBytes()) {
        trimToLimit(size);
    }
}

void FileErrorManager::trimToLimit(qint64 size) {
    QFile current(LogFile());
    if (!current.open(QIODevice::ReadOnly)) {
        return;
    }
    const auto keep = static_cast<qint64>(static_cast<double>(limitBytes()) * kTrimTarget);
    current.seek(size - keep);
    QByteArray tail = current.readAll();
    current.close();
    // Start at a whole line: drop the part of the line the cut went through.
    const qsizetype firstBreak = tail.indexOf('\n');
    tail.remove(0, firstBreak + 1);

    // Written aside and renamed over the log, so a crash mid-trim loses nothing.
    QSaveFile trimmed(LogFile());
    if (trimmed.open(QIODevice::WriteOnly)) {
        trimmed.write(tail);
        trimmed.commit();
    }
}

qint64 FileErrorManager::limitBytes() const {
    return static_cast<qint64>(LogFileLimit() * kBytesPerMegabyte);
}

void FileErrorManager::ClearLogFile() {
    if (LogFile().isEmpty()) {
        return;
    }
    QFile file(LogFile());
    if (file.exists()) {
        file.resize(0);
    }
}

}  // namespace hvx
