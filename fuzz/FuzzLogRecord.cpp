// The log line writer: whatever the text, a record is valid UTF-8 that ends with one line
// feed; its first line starts with the head the error manager gave, every further line starts
// with the continuation tab, so no text can write a line that passes for a stamped one; no
// other control character gets through; and a plain short text is written as it is.
#include "FuzzCheck.h"
#include "components/LogRecordFormat.h"

#include <QList>

using namespace hvx;
using namespace hvx::fuzz;

namespace {

const QString kHead = QStringLiteral("2026-01-01 00:00:00  ERROR  ");

bool plain(const QString& text) {
    for (const QChar c : text) {
        if (c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line ||
            c.category() == QChar::Separator_Paragraph) {
            return false;
        }
    }
    return text.size() < kMaxLogRecordCharacters / 2;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const QString text = inputText(data, size);
    const QByteArray record = formatLogRecord(kHead, text);
    const QString detail = QString::fromUtf8(record.toPercentEncoding(" "));

    check(QString::fromUtf8(record).toUtf8() == record, "a record is not valid UTF-8", detail);
    check(record.endsWith('\n') && !record.endsWith("\n\n"), "a record does not end with one LF",
          detail);
    check(record.count('\n') == 1 + record.count("\n\t"),
          "a line of a record starts with neither the head nor a tab", detail);
    check(!record.contains('\r'), "a record holds a CR", detail);
    const QList<QByteArray> lines = record.chopped(1).split('\n');
    check(lines.first().startsWith(kHead.toUtf8()), "a record does not start with its head",
          detail);
    for (const QByteArray& line : lines) {
        for (qsizetype i = 0; i < line.size(); ++i) {
            const auto byte = static_cast<unsigned char>(line.at(i));
            const bool continuationTab = i == 0 && byte == '\t' && &line != &lines.first();
            check(continuationTab || (byte >= 0x20 && byte != 0x7f),
                  "a control character got into the log", detail);
        }
    }
    // The limit, and room for the mark of a cut.
    check(QString::fromUtf8(record).size() <= kHead.size() + kMaxLogRecordCharacters + 64,
          "a record longer than the limit", detail.left(200));
    if (plain(text)) {
        check(record == (kHead + text).toUtf8() + '\n', "a plain text is not written as it is",
              detail);
    }
    return 0;
}
