// The error indicator's rising shows one desktop notification through the freedesktop
// service on a private session bus, where this test records what the service is asked.
#include "PrivateSessionBus.h"
#include "channel/RegFunctions.h"
#include "commands/ErrorNotification.h"
#include "fakes/TestEnvironment.h"
#include "platform/dbus/FreedesktopNotifier.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestDesktopNotification : public QObject {
    Q_OBJECT

    PrivateSessionBus bus_;

  private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(!bus_.address().isEmpty(), "dbus-daemon did not start");
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus_.address());
    }

    void oneNotificationPerRising() {
        RecordingNotifications service;
        QVERIFY(service.start(bus_.address()));
        TestEnvironment t;
        t.ctx->applicationTitle = QStringLiteral("North Monitor");
        FreedesktopNotifier notifier(QStringLiteral("HvxMonitor"), QStringLiteral("hvxmonitor"));
        t.env.notifier = &notifier;
        SystemSettings settings;
        frmMonitor window(*t.ctx, settings);
        const auto setErrorInfo = [&t](const QString& text) {
            SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("ErrorInfo"), text);
        };

        setErrorInfo(QStringLiteral("Error 3021 in SendMail"));
        for (int tick = 0; tick < 3; ++tick) {
            window.ShowStatus();
        }
        QTRY_COMPARE(service.calls, QStringList{QStringLiteral("North Monitor: the Monitor logged "
                                                               "an error|Error 3021 in SendMail")});
        // While it stays up, nothing more arrives.
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 1; }, 1000));

        setErrorInfo(QString());
        window.ShowStatus();
        setErrorInfo(QStringLiteral("Error 91"));
        window.ShowStatus();
        window.ShowStatus();
        QTRY_COMPARE(service.calls.size(), 2);
        QVERIFY(service.calls.back().endsWith(QStringLiteral("|Error 91")));

        // No service on the bus: no notification and no error.
        QVERIFY(service.stop());
        setErrorInfo(QString());
        window.ShowStatus();
        setErrorInfo(QStringLiteral("Error 5"));
        window.ShowStatus();
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 2; }, 1000));
        QVERIFY(t.errors().writes.isEmpty());
        QVERIFY(t.boxes.shown().empty());
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
