#include "PrivateSessionBus.h"

#include <QFile>

namespace hvx::test {

namespace {
const QString kService = QStringLiteral("org.freedesktop.Notifications");
}

PrivateSessionBus::PrivateSessionBus() {
    const QString config = folder_.filePath(QStringLiteral("bus.conf"));
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly)) {
        return;
    }
    file.write(
        "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
        "<auth>EXTERNAL</auth><policy context=\"default\">"
        "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
        "<allow own=\"*\"/></policy></busconfig>");
    file.close();
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                   QStringLiteral("--print-address")});
    if (daemon_.waitForStarted() && daemon_.waitForReadyRead(10000)) {
        address_ = daemon_.readLine().trimmed();
    }
}

PrivateSessionBus::~PrivateSessionBus() {
    daemon_.terminate();
    daemon_.waitForFinished(5000);
}

bool RecordingNotifications::start(const QByteArray& address) {
    connection_ = QStringLiteral("recording-notifications");
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(address), connection_);
    return bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                              QDBusConnection::ExportAllSlots) &&
           bus.registerService(kService);
}

bool RecordingNotifications::stop() {
    return QDBusConnection(connection_).unregisterService(kService);
}

RecordingNotifications::~RecordingNotifications() {
    if (!connection_.isEmpty()) {
        QDBusConnection::disconnectFromBus(connection_);
    }
}

uint RecordingNotifications::Notify(const QString& /*application*/, uint /*replaces*/,
                                    const QString& /*icon*/, const QString& summary,
                                    const QString& body, const QStringList& /*actions*/,
                                    const QVariantMap& /*hints*/, int /*timeout*/) {
    calls.append(summary + QLatin1Char('|') + body);
    return static_cast<uint>(calls.size());
}

}  // namespace hvx::test
