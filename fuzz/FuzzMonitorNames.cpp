// The monitornames.txt reader: whatever the file holds, the list has only whole entries (a
// trimmed name and folder, no comma, no line break), it stops exactly at the first non-blank
// line without a comma, and the entries it found, written out again, read back the same.
#include "FuzzCheck.h"
#include "channel/AppContext.h"
#include "startup/MonitorNames.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

using namespace hvx;
using namespace hvx::fuzz;

namespace {

std::unique_ptr<QTemporaryDir> folder;

QString path() {
    return folder->filePath(QStringLiteral("monitornames.txt"));
}

MonitorNamesList readFile(const QByteArray& bytes) {
    // A new file each time: rewriting a truncated one makes ext4 flush it on close, which
    // costs a disk wait per input.
    QFile::remove(path());
    QFile file(path());
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        fail("cannot write the input file", path());
    }
    file.close();
    Environment env;
    AppContext ctx(env);
    return readMonitorNames(ctx, path());
}

// Lines end at CR LF, CR or LF.
QStringList linesOf(const QString& text) {
    QStringList lines{QString()};
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            if (c == QLatin1Char('\r') && i + 1 < text.size() &&
                text.at(i + 1) == QLatin1Char('\n')) {
                ++i;
            }
            lines.append(QString());
        } else {
            lines.last().append(c);
        }
    }
    return lines;
}

QString describe(const MonitorNamesList& list) {
    QStringList shown;
    for (const auto& entry : list.entries) {
        shown.append(entry.name + QLatin1Char('|') + entry.folder);
    }
    return shown.join(QLatin1Char('\n')) + QStringLiteral("\nerror: ") + list.error;
}

void checkEntry(const MonitorNameEntry& entry, const QString& detail) {
    for (const QString* field : {&entry.name, &entry.folder}) {
        check(!field->isEmpty(), "an entry with an empty field", detail);
        check(*field == field->trimmed(), "an entry with blanks around a field", detail);
        check(!field->contains(QLatin1Char(',')), "an entry field holds a comma", detail);
        check(!field->contains(QLatin1Char('\r')) && !field->contains(QLatin1Char('\n')),
              "an entry field holds a line break", detail);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    folder = std::make_unique<QTemporaryDir>();
    return folder->isValid() ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const MonitorNamesList list = readFile(bytes);
    const QString detail = describe(list);
    for (const auto& entry : list.entries) {
        checkEntry(entry, detail);
    }

    const QStringList lines = linesOf(inputText(data, size));
    qsizetype bad = 0;
    while (bad < lines.size() &&
           (lines.at(bad).trimmed().isEmpty() || lines.at(bad).contains(QLatin1Char(',')))) {
        ++bad;
    }
    if (bad == lines.size()) {
        check(list.error.isEmpty(), "an error in a file where every line has a comma", detail);
    } else {
        check(list.error.startsWith(QStringLiteral("Error 9, ")),
              "a line without a comma is not error 9", detail);
        check(list.error.endsWith(QStringLiteral("\r\nCurrent line is: ") + lines.at(bad) +
                                  QLatin1Char('.')),
              "the error does not quote the line without a comma", detail);
        // What came before the bad line is read as if the file ended there.
        const MonitorNamesList before =
            readFile(lines.mid(0, bad).join(QLatin1Char('\n')).toUtf8());
        check(before.error.isEmpty() && describe(before) == describe({list.entries, {}}),
              "the entries before the bad line differ from that part read alone",
              detail + QStringLiteral("\n---\n") + describe(before));
    }

    QByteArray written;
    for (const auto& entry : list.entries) {
        written += entry.name.toUtf8() + ", " + entry.folder.toUtf8() + "\r\n";
    }
    const MonitorNamesList again = readFile(written);
    check(again.error.isEmpty() && describe(again) == describe({list.entries, {}}),
          "the entries written out again do not read back the same",
          detail + QStringLiteral("\n---\n") + describe(again));
    return 0;
}
