#pragma once

#include "platform/OsServices.h"

namespace hvx {

// Notifications through the freedesktop notification service (org.freedesktop.Notifications)
// on the session bus. The call is sent without waiting for its answer: a desktop without the
// service (or without a session bus) answers with an error that nobody reads, so nothing
// shows and nothing fails. A service that the bus starts on demand is started.
class FreedesktopNotifier final : public DesktopNotifier {
  public:
    // `applicationName` names the sender in the notification; `desktopEntry` is the name of
    // the program's desktop entry, whose icon the service may show.
    FreedesktopNotifier(QString applicationName, QString desktopEntry);

    void notify(const QString& summary, const QString& body) override;

  private:
    QString applicationName_;
    QString desktopEntry_;
};

}  // namespace hvx
