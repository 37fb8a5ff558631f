#pragma once

#include "platform/OsServices.h"

namespace hvx {

// The desktop's own association through GIO, as file managers and `gio open` use it: the type
// from the file's name (so an emptied log is still a text file), the default application for
// that type from the desktop entries and mimeapps.list, started as the desktop starts it (the
// whole Exec line, a terminal for Terminal=true entries). The program's name handed between
// associatedProgram() and open() is the desktop entry's id.
//
// GIO reads the MIME database and every desktop entry on its first lookup, tens of
// milliseconds on a cold disk, and keeps them for the life of the process. Nothing of it is
// loaded or read before the operator first asks; each lookup runs on a thread of its own while
// the calling thread goes on with its events (the window keeps drawing and its timer ticking;
// input waits until the answer is there). GIO's tables are safe across threads.
class GioFileOpener final : public FileOpener {
  public:
    std::optional<QString> associatedProgram(const QString& file) const override;
    bool open(const QString& program, const QString& file) override;
    bool openFolder(const QString& folder) override;
};

}  // namespace hvx
