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

using namespace Qt::StringLiterals;
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
        FreedesktopNotifier notifier(u"HvxMonitor"_s, u"hvxmonitor"_s);
        t.env.notifier = &notifier;
        SystemSettings settings;
        frmMonitor window(*t.ctx, settings);
        // One tick per text; an empty one lowers the indicator.
        const auto tick = [&](const QStringList& errorInfos) {
            for (const QString& text : errorInfos) {
                SaveRegValue(*t.ctx, t.ctx->controlsSection, u"ErrorInfo"_s, text);
                window.ShowStatus();
            }
        };
        const QString error = u"Error 3021 in SendMail"_s;
        tick({error, error, error});
        QTRY_COMPARE(service.calls,
                     QStringList{u"Halvex Monitor: the Monitor logged an error|"_s + error});
        // While it stays up, nothing more arrives.
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 1; }, 1000));
        tick({QString(), u"Error 91"_s, u"Error 91"_s});
        QTRY_COMPARE(service.calls.size(), 2);
        QVERIFY(service.calls.back().endsWith(u"|Error 91"_s));

        // No service on the bus: no notification and no error.
        QVERIFY(service.stop());
        tick({QString(), u"Error 5"_s});
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 2; }, 1000));
        QVERIFY(t.errors().writes.isEmpty());
        QVERIFY(t.boxes.shown().empty());
    }

    void aStoreThatCannotBeReadStillNotifies() {
        TestEnvironment t;
        FakeNotifier notifier;
        t.env.notifier = &notifier;
        t.env.registryStore = {};
        NotifyErrorLogged(*t.ctx);
        QCOMPARE(notifier.shown, QStringList{u"Halvex Monitor: the Monitor logged an error|"_s});
        QVERIFY(t.errors().writes.isEmpty());
    }
};

QTEST_MAIN(TestDesktopNotification)
#include "TestDesktopNotification.moc"
