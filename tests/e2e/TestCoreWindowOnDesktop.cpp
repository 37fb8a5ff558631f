#include "screen/MonitorOnScreen.h"
#include "screen/ScreenTestMain.h"

#include <QElapsedTimer>

using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");

}  // namespace

// The core application that the Monitor starts comes up minimized and leaves the focus
// where it was, under a real window manager.
class TestCoreWindowOnDesktop : public QObject {
    Q_OBJECT

  public:
    explicit TestCoreWindowOnDesktop(XSession& session) : session_(session) {}

  private Q_SLOTS:
    void initTestCase() { HVX_REQUIRE_SCREEN(session_); }

    void theCoreStartsIconicWithoutTakingTheFocus() {
        MonitorOnScreen monitor(QStringLiteral("core-window"));
        QVERIFY(monitor.ready());
        QVERIFY(monitor.sql(QStringLiteral(
            "update Settings set SettingValue = '1' where SettingName = 'AutoStartMonitor';"
            "delete from Messages;")));
        monitor.start();
        quint64 window = 0;
        QTRY_VERIFY_WITH_TIMEOUT(
            (window = session_.windowNamed(kTitle)) != 0 ||
                (window = session_.windowNamed(kTitle + QStringLiteral(" (Running)"))) != 0,
            kScreenWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(session_.activeWindow(), window, kScreenWaitMs);

        quint64 core = 0;
        QTRY_VERIFY_WITH_TIMEOUT(
            (core = session_.windowNamed(kTitle + QStringLiteral(" Timer"))) != 0, kScreenWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(session_.windowState(core), QStringLiteral("Iconic"),
                                  kScreenWaitMs);
        // The window manager decides about the focus when it maps the window: watch a while.
        QElapsedTimer watching;
        watching.start();
        while (watching.elapsed() < 2000) {
            QCOMPARE(session_.activeWindow(), window);
            QCOMPARE(session_.windowState(core), QStringLiteral("Iconic"));
            QTest::qWait(200);
        }
    }

  private:
    XSession& session_;
};

HVX_SCREEN_TEST_MAIN(TestCoreWindowOnDesktop)
#include "TestCoreWindowOnDesktop.moc"
