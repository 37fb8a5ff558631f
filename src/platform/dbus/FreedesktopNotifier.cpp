#include "FreedesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QVariantMap>

#include <utility>

namespace hvx {

FreedesktopNotifier::FreedesktopNotifier(QString applicationName, QString desktopEntry)
    : applicationName_(std::move(applicationName)), desktopEntry_(std::move(desktopEntry)) {}

void FreedesktopNotifier::notify(const QString& summary, const QString& body) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), desktopEntry_}};
    // Application, no notification to replace, icon, summary, body, no actions, hints, the
    // service's own display time.
    call << applicationName_ << 0U << desktopEntry_ << summary << body << QStringList() << hints
         << -1;
    bus.asyncCall(call);
}

}  // namespace hvx
