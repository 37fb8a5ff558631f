#pragma once

#include "platform/OsServices.h"

namespace hvx {

// The desktop's association: the file's MIME type and its default application from xdg-mime
// (xdg-utils), the application's Exec line from its .desktop file in the XDG data folders.
// Opening starts that program through the launcher, the file as one argument, no shell.
class XdgFileOpener final : public FileOpener {
  public:
    explicit XdgFileOpener(ProcessLauncher& launcher) : launcher_(launcher) {}

    std::optional<QString> associatedProgram(const QString& file) const override;
    bool open(const QString& program, const QString& file) override;

  private:
    ProcessLauncher& launcher_;
};

}  // namespace hvx
