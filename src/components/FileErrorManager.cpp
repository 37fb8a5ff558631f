#include "FileErrorManager.h"

#include "LogRecordFormat.h"
#include "OwnLogFile.h"
#include "platform/Clock.h"
#include "platform/MessageBoxes.h"
#include "platform/RuntimeError.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>

namespace hvx {

namespace {

constexpr double kBytesPerMegabyte = 1024.0 * 1024.0;
// After trimming, the file holds this share of the limit, so the next trim is far away.
constexpr double kTrimTarget = 0.75;
constexpr qint64 kCopyChunk = qint64{64} * 1024;

QString stamp(const DateValue& now) {
    return now.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

// The offset of the first record that starts at or after `from`: just past a line break that
// no continuation line follows. -1 when there is none before the end.
qint64 nextRecordStart(const OwnLogFile& log, qint64 from, qint64 size) {
    for (qint64 offset = from; offset < size; offset += kCopyChunk) {
        // One byte more, to see what follows a line break at the end of the chunk.
        const QByteArray chunk = log.read(offset, kCopyChunk + 1);
        for (qsizetype i = 0; i + 1 < chunk.size(); ++i) {
            if (chunk[i] == '\n' && chunk[i + 1] != kLogContinuation) {
                return offset + i + 1;
            }
        }
    }
    return -1;
}

}  // namespace

FileErrorManager::FileErrorManager(const Clock& clock, MessageBoxes* boxes)
    : clock_(clock), boxes_(boxes) {}

void FileErrorManager::Report(bool& isTrace) {
    QString text = ErrorText();
    if (!LogFile().isEmpty()) {
        const QString mark = isTrace ? QStringLiteral("  TRACE  ") : QStringLiteral("  ERROR  ");
        append(formatLogRecord(stamp(clock_.now()) + mark, text));
    }
    if (!isTrace && !StartupComplete() && boxes_ != nullptr) {
        while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r'))) {
            text.chop(1);
        }
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

void FileErrorManager::append(const QByteArray& record) {
    qint64 size = 0;
    {
        OwnLogFile log(LogFile(), OwnLogFile::Use::Append);
        if (!log.appendWhole(record)) {
            return;
        }
        size = log.size();
    }
    if (size > limitBytes()) {
        trimToLimit();
    }
}

void FileErrorManager::trimToLimit() {
    const OwnLogFile current(LogFile(), OwnLogFile::Use::Read);
    if (!current.isOpen()) {
        return;
    }
    const qint64 size = current.size();
    const auto keep = static_cast<qint64>(static_cast<double>(limitBytes()) * kTrimTarget);
    const qint64 from = nextRecordStart(current, std::max<qint64>(size - keep - 1, 0), size);

    // Written aside and renamed over the log, so a crash mid-trim loses nothing. The new name
    // is made afresh (exclusive creation), and the rename replaces whatever entry the log's
    // name holds by then without ever writing through it.
    const QFileInfo info(LogFile());
    QTemporaryFile trimmed(info.absolutePath() + QLatin1Char('/') + info.fileName() +
                           QStringLiteral(".XXXXXX"));
    if (!trimmed.open()) {
        return;
    }
    for (qint64 offset = from; from >= 0 && offset < size; offset += kCopyChunk) {
        const QByteArray chunk = current.read(offset, std::min(kCopyChunk, size - offset));
        if (chunk.isEmpty() || trimmed.write(chunk) != chunk.size()) {
            return;
        }
    }
    if (!trimmed.flush()) {
        return;
    }
    if (std::rename(QFile::encodeName(trimmed.fileName()).constData(),
                    QFile::encodeName(info.absoluteFilePath()).constData()) == 0) {
        trimmed.setAutoRemove(false);
    }
}

qint64 FileErrorManager::limitBytes() const {
    return static_cast<qint64>(LogFileLimit() * kBytesPerMegabyte);
}

void FileErrorManager::ClearLogFile() {
    if (LogFile().isEmpty()) {
        return;
    }
    OwnLogFile log(LogFile(), OwnLogFile::Use::Empty);
    if (log.isOpen()) {
        log.empty();
        return;
    }
    if (log.openError() == ENOENT) {
        return;
    }
    throw RuntimeError(err::PermissionDenied,
                       QStringLiteral("The log file %1 was left as it is: it is not a file of the "
                                      "Monitor's (a link, a file of another user or with another "
                                      "name)")
                           .arg(LogFile()));
}

}  // namespace hvx
