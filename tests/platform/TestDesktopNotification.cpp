// The error indicator's rising shows one desktop notification through the freedesktop
// service on a private session bus, where this test records what the service is asked.
#include "channel/RegFunctions.h"
#include "commands/ErrorNotification.h"
#include "fakes/TestEnvironment.h"
#include "platform/dbus/FreedesktopNotifier.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");

// A notification service that keeps "summary|body" of every Notify.
class RecordingNotifications : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

  public:
    QStringList calls;

  public Q_SLOTS:
    uint Notify(const QString& /*application*/, uint /*replaces*/, const QString& /*icon*/,
                const QString& summary, const QString& body, const QStringList& /*actions*/,
                const QVariantMap& /*hints*/, int /*timeout*/) {
        calls.append(summary + QLatin1Char('|') + body);
        return static_cast<uint>(calls.size());
    }
};

}  // namespace

class TestDesktopNotification : public QObject {
    Q_OBJECT

    QTemporaryDir folder_;
    QProcess bus_;

  private Q_SLOTS:
    // A bus of this test's own, with no service directories, so no notification service of
    // the machine can be started on it.
    void initTestCase() {
        const QString config = folder_.filePath(QStringLiteral("bus.conf"));
        QFile file(config);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(
            "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
            "<auth>EXTERNAL</auth><policy context=\"default\">"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
            "<allow own=\"*\"/></policy></busconfig>");
        file.close();
        bus_.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                    QStringLiteral("--print-address")});
        QVERIFY2(bus_.waitForStarted(), "dbus-daemon is missing");
        QVERIFY(bus_.waitForReadyRead(10000));
        const QByteArray address = bus_.readLine().trimmed();
        QVERIFY(!address.isEmpty());
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }

    void cleanupTestCase() {
        bus_.terminate();
        bus_.waitForFinished(5000);
    }

    void oneNotificationPerRising() {
        QDBusConnection service = QDBusConnection::connectToBus(
            qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("service"));
        QVERIFY(service.isConnected());
        RecordingNotifications recorder;
        QVERIFY(service.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &recorder,
                                       QDBusConnection::ExportAllSlots));
        QVERIFY(service.registerService(kService));

        TestEnvironment t;
        t.ctx->applicationTitle = QStringLiteral("North Monitor");
        FreedesktopNotifier notifier(QStringLiteral("HvxMonitor"), QStringLiteral("hvxmonitor"));
        t.env.notifier = &notifier;
        SystemSettings settings;
        frmMonitor window(*t.ctx, settings);
        // As the program wires it.
        connect(&window, &frmMonitor::errorIndicatorRaised, this,
                [&t] { NotifyErrorLogged(*t.ctx); });
        const auto setErrorInfo = [&t](const QString& text) {
            SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("ErrorInfo"), text);
        };

        setErrorInfo(QStringLiteral("Error 3021 in SendMail"));
        for (int tick = 0; tick < 3; ++tick) {
            window.ShowStatus();
        }
        QTRY_COMPARE(recorder.calls,
                     QStringList{QStringLiteral("North Monitor: the Monitor logged an "
                                                "error|Error 3021 in SendMail")});
        // While it stays up, nothing more arrives.
        QVERIFY(!QTest::qWaitFor([&] { return recorder.calls.size() > 1; }, 1000));

        setErrorInfo(QString());
        window.ShowStatus();
        setErrorInfo(QStringLiteral("Error 91"));
        window.ShowStatus();
        window.ShowStatus();
        QTRY_COMPARE(recorder.calls.size(), 2);
        QVERIFY(recorder.calls.back().endsWith(QStringLiteral("|Error 91")));

        // No service on the bus: no notification and no error.
        QVERIFY(service.unregisterService(kService));
        setErrorInfo(QString());
        window.ShowStatus();
        setErrorInfo(QStringLiteral("Error 5"));
        window.ShowStatus();
        QVERIFY(!QTest::qWaitFor([&] { return recorder.calls.size() > 2; }, 1000));
        QVERIFY(t.errors().writes.isEmpty());
        QVERIFY(t.boxes.shown().empty());
        QDBusConnection::disconnectFromBus(QStringLiteral("service"));
    }

    void aStoreThatCannotBeReadStillNotifies() {
        TestEnvironment t;
        t.ctx->applicationTitle = QStringLiteral("North Monitor");
        NotifyErrorLogged(*t.ctx);
        FakeNotifier notifier;
        t.env.notifier = &notifier;
        t.env.registryStore = {};
        NotifyErrorLogged(*t.ctx);
        QCOMPARE(notifier.shown,
                 QStringList{QStringLiteral("North Monitor: the Monitor logged an error|")});
        QVERIFY(t.errors().writes.isEmpty());
    }
};

QTEST_MAIN(TestDesktopNotification)
#include "TestDesktopNotification.moc"
