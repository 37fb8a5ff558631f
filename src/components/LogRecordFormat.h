#pragma once

#include <QByteArray>
#include <QStringView>

namespace hvx {

// At most this many characters of a report's text are written (escapes and the tabs of
// continuation lines count); a longer text keeps its start and ends with a mark of the cut.
// One report can thus never crowd the rest of the log out at the next trim.
inline constexpr qsizetype kMaxLogRecordCharacters = 8000;

// Starts every line of a record but its first.
inline constexpr char kLogContinuation = '\t';

// The bytes (UTF-8) of one record of the log: `head` (the stamp and the mark, which only the
// error manager writes; it holds no line break) followed by the first line of `text`. Each
// further line of the text (ended by CR, LF or CR LF) becomes a continuation line that starts
// with a tab, so no text can produce a line that passes for a stamped one. Other control
// characters are written as \xNN, the line and paragraph separators as \u2028 and \u2029.
// Line breaks at the end of the text are dropped. The result ends with one LF and holds no
// other line break.
QByteArray formatLogRecord(QStringView head, QStringView text);

}  // namespace hvx
