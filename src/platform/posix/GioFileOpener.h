#pragma once

#include "platform/OsServices.h"

#include <thread>

namespace hvx {

// The desktop's own association through GIO, as file managers and `gio open` use it: the type
// from the file's name (so an emptied log is still a text file), the default application for
// that type from the desktop entries and mimeapps.list, started as the desktop starts it (the
// whole Exec line, a terminal for Terminal=true entries). The program's name handed between
// associatedProgram() and open() is the desktop entry's id.
//
// GIO reads the MIME database and every desktop entry on its first lookup, tens of
// milliseconds on a cold disk; a thread started by the constructor does that first lookup, so
// the window's thread finds the tables loaded. GIO's tables are safe across threads.
class GioFileOpener final : public FileOpener {
  public:
    GioFileOpener();
    // Waits for the warm-up lookup to end.
    ~GioFileOpener() override;

    GioFileOpener(const GioFileOpener&) = delete;
    GioFileOpener& operator=(const GioFileOpener&) = delete;

    std::optional<QString> associatedProgram(const QString& file) const override;
    bool open(const QString& program, const QString& file) override;
    bool openFolder(const QString& folder) override;

  private:
    std::thread warmUp_;
};

}  // namespace hvx
