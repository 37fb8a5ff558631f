#include "LogRecordFormat.h"

#include <QString>

#include <algorithm>

namespace hvx {

namespace {

bool isLineBreak(QChar c) {
    return c == QLatin1Char('\n') || c == QLatin1Char('\r');
}

bool isControl(char16_t c) {
    return c < 0x20 || (c >= 0x7f && c <= 0x9f);
}

bool isSeparator(char16_t c) {
    return c == 0x2028 || c == 0x2029;
}

QString escaped(char16_t c) {
    const auto code = static_cast<uint>(c);
    if (isSeparator(c)) {
        return QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
    }
    return QStringLiteral("\\x") +
           QStringLiteral("%1").arg(code, 2, 16, QLatin1Char('0')).toUpper();
}

}  // namespace

QByteArray formatLogRecord(QStringView head, QStringView text) {
    qsizetype end = text.size();
    while (end > 0 && isLineBreak(text[end - 1])) {
        --end;
    }
    text = text.first(end);

    QString record;
    record.reserve(head.size() + std::min(text.size(), kMaxLogRecordCharacters) + 48);
    record += head;
    const qsizetype budgetEnd = record.size() + kMaxLogRecordCharacters;
    qsizetype next = 0;
    while (next < text.size()) {
        const QChar c = text[next];
        QString piece;
        qsizetype taken = 1;
        if (isLineBreak(c)) {
            if (c == QLatin1Char('\r') && next + 1 < text.size() &&
                text[next + 1] == QLatin1Char('\n')) {
                taken = 2;
            }
            piece = QStringLiteral("\n") + QLatin1Char(kLogContinuation);
        } else if (isControl(c.unicode()) || isSeparator(c.unicode())) {
            piece = escaped(c.unicode());
        } else if (c.isHighSurrogate() && next + 1 < text.size() &&
                   text[next + 1].isLowSurrogate()) {
            // A pair stays together, also at the cut.
            piece = text.sliced(next, 2).toString();
            taken = 2;
        } else {
            piece = c;
        }
        if (record.size() + piece.size() > budgetEnd) {
            break;
        }
        record += piece;
        next += taken;
    }
    if (next < text.size()) {
        record += QStringLiteral(" [cut: %1 more characters]").arg(text.size() - next);
    }
    record += QLatin1Char('\n');
    return record.toUtf8();
}

}  // namespace hvx
