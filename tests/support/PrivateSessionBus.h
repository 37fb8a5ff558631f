#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

namespace hvx::test {

// A session bus of the test's own (dbus-daemon), with no service folders, so no service of the
// machine can be started on it. Ended with the object.
class PrivateSessionBus {
  public:
    PrivateSessionBus();
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    // Empty when the bus did not start.
    QByteArray address() const { return address_; }

  private:
    QTemporaryDir folder_;
    QProcess daemon_;
    QByteArray address_;
};

// A freedesktop notification service on a connection of its own, keeping "summary|body" of every
// Notify while it holds the service's name.
class RecordingNotifications : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

  public:
    // Connects to the bus at `address`; false when it cannot take the service's name.
    bool start(const QByteArray& address);
    // Gives the name back: the bus has no notification service any more.
    bool stop();
    ~RecordingNotifications() override;

    QStringList calls;

  public Q_SLOTS:
    uint Notify(const QString& application, uint replaces, const QString& icon,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int timeout);

  private:
    QString connection_;
};

}  // namespace hvx::test
