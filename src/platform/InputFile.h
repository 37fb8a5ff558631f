#pragma once

#include <QByteArray>
#include <QString>

namespace hvx {

// The largest file the program reads as its own input (monitornames.txt, db.ini).
inline constexpr qint64 kMaxInputFileBytes = qint64{1024} * 1024;

// Reads the whole of a file that the program takes as input. Only a regular file of at most
// kMaxInputFileBytes is read: a FIFO, a device or a huge file fails at once instead of
// hanging the reader or filling memory. Throws RuntimeError 53 when the file does not exist,
// 70 when it may not be read, 75 for anything else; the description does not name the file.
QByteArray readInputFile(const QString& path);

}  // namespace hvx
