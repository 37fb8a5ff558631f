#pragma once

#include <QString>

namespace hvx {

// File operations whose failures carry the system's own error: RuntimeError with the errno
// number and its description, so that the two always belong together.

// Copies the regular file `from` to `to`, which is replaced; the copy gets the source's
// permission bits.
void copyFile(const QString& from, const QString& to);
// Deletes `path`; a file that is not there is no failure.
void removeFile(const QString& path);

}  // namespace hvx
