#pragma once

#include "support/Installation.h"

namespace hvx::test {

// The real Monitor and core application of an installation (a demo file database beside the
// program) shown on the X session's display as an operator would see them: no unattended
// mode, the real windows and dialogs. One known locale, since the uptime's decimal separator
// follows it, and a clock that the test can move on while the programs run.
class MonitorOnScreen : public Installation {
  public:
    explicit MonitorOnScreen(const QString& name);

    bool ready() const { return ready_; }
    // Where the Monitor keeps its log (and writes its support bundles).
    QString logFolder() const { return dir.filePath(QStringLiteral("data/halvex/help-desk")); }
    // Moves the programs' clock forward by `seconds`, at once.
    void shiftClock(qint64 seconds) const;
    // Starts HvxMonitor at the given scale factor of the desktop.
    void start(qreal scale = 1.0);

  private:
    bool ready_ = false;
};

}  // namespace hvx::test
