#include "MonitorRig.h"

#include <QAction>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace hvx;
using namespace hvx::test;

class TestTimerLoop : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void whileProcessingTheTickOnlyRearms() {
        Rig r;
        r.set("Processing", "1");
        r.timer()->start();
        r.tick();
        QCOMPARE(r.loop().tickTrace, QStringLiteral("P=1;"));
        QVERIFY(r.t.launcher.starts.empty());
        QVERIFY(r.loop().timerEnabled);
        QCOMPARE(r.window->windowTitle(), QStringLiteral("Monitor"));
    }

    void aRefusedRefreshStopsTheTick() {
        Rig r(MonitorLoopState{});
        r.set("CoreHasDBIssues", "1");
        r.tick();
        QCOMPARE(r.loop().tickTrace, QStringLiteral("P=0;MGS=0;"));
        QVERIFY(r.t.launcher.starts.empty());
    }

    void anUnchangedTraceIsWrittenOnce() {
        Rig r;
        r.t.ctx->traceOn = true;
        r.t.windows.open.insert(kCoreCaption);
        r.tick();
        r.tick();
        QCOMPARE(r.traces(), QStringList{QStringLiteral("P=0;AR=1;")});
        // A busy tick writes nothing, but counts as the previous trace.
        r.set("Processing", "1");
        r.tick();
        r.set("Processing", "0");
        r.tick();
        QCOMPARE(r.traces(),
                 QStringList({QStringLiteral("P=0;AR=1;"), QStringLiteral("P=0;AR=1;")}));
    }

    void commandLines_data() {
        QTest::addColumn<QString>("instance");
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("single instance") << QString() << QStringList();
        QTest::newRow("instance North")
            << QStringLiteral("North") << QStringList{QStringLiteral("North")};
        QTest::newRow("instance with a blank")
            << QStringLiteral("North Wing") << QStringList{QStringLiteral("North Wing")};
    }
    void commandLines() {
        QFETCH(QString, instance);
        Rig r;
        r.t.ctx->instanceName = instance;
        r.t.ctx->databaseUserId = QStringLiteral("helpdesk");
        r.t.ctx->databasePassword = QStringLiteral("pa ss");
        r.tick();
        QCOMPARE(r.loop().tickTrace,
                 QStringLiteral("P=0;AR=0;MSCA_AS=0;MSCA_CACT=0;MSCA=1;CAST=0;"));
        QCOMPARE(r.t.launcher.starts.size(), 1u);
        QCOMPARE(r.t.launcher.starts[0].program,
                 r.t.env.applicationFolder + QStringLiteral("/HvxMonCore"));
        QTEST(r.t.launcher.starts[0].arguments, "arguments");
        QCOMPARE(r.t.launcher.starts[0].style, WindowStyle::MinimizedNoActivate);
        QCOMPARE(r.get("UserId"), QStringLiteral("helpdesk"));
        QCOMPARE(r.get("Pwd"), QStringLiteral("pa ss"));
        QCOMPARE(r.loop().CoreStartTime, r.t.clock.now());
    }

    void aMissingCoreProgramStopsTheLoop() {
        Rig r;
        QFile::remove(r.t.env.applicationFolder + QStringLiteral("/HvxMonCore"));
        r.timer()->start();
        r.tick();
        QVERIFY(!r.loop().timerEnabled);
        QCOMPARE(r.t.boxes.texts(), QStringList{QStringLiteral("The Monitor timer program ") +
                                                r.t.env.applicationFolder +
                                                QStringLiteral("/HvxMonCore is missing.  ")});
    }

    void aFailedStartStopsTheLoop() {
        Rig r;
        r.t.launcher.failWith = LaunchResult{false, 13, QStringLiteral("Permission denied")};
        r.tick();
        const auto& box = r.t.boxes.shown().front();
        QVERIFY(!box.title.has_value());
        QVERIFY(box.text.endsWith(QStringLiteral("\r\n\r\nPermission denied (13)")));
        QVERIFY(!r.loop().timerEnabled);
    }

    void aCoreThatNeverShowsItsWindowTimesOut() {
        Rig r;
        r.tick();
        const DateValue launched = r.loop().CoreStartTime;
        r.tick(10);
        QVERIFY(r.t.boxes.shown().empty());
        QCOMPARE(r.loop().tickTrace,
                 QStringLiteral("P=0;AR=0;MSCA_AS=0;MSCA_CACT=0;MSCA=1;CAST=1;"));
        r.timer()->start();
        r.tick(1);
        QVERIFY(!r.loop().timerEnabled);
        QCOMPARE(r.t.boxes.texts().size(), 1);
        const QString text = r.t.boxes.texts().front();
        QVERIFY(text.startsWith(QStringLiteral("The Monitor Timer program has not started "
                                               "successfully.\r\n\r\nIt was started at ") +
                                formatGeneralDate(launched) +
                                QStringLiteral(" and it is not running at ") +
                                formatGeneralDate(r.t.clock.now()) + QStringLiteral(".")));
        QCOMPARE(r.t.launcher.starts.size(), 1u);
    }

    void abortsRestartAfterAMinuteUntilTheToleranceIsSpent() {
        Rig r;
        r.settings.MonitorCnnTolerance = 1;
        r.t.windows.open.insert(kCoreCaption);
        r.tick();
        r.set("State", "999");
        r.set("Command", "3");
        r.set("Processing", "1");
        r.t.windows.open.clear();
        r.tick();
        QCOMPARE(r.loop().AbortCount, 1);
        QCOMPARE(r.get("State"), QStringLiteral("1"));
        QCOMPARE(r.get("Command"), QStringLiteral("<missing>"));
        QCOMPARE(r.get("Processing"), QStringLiteral("<missing>"));
        QVERIFY(r.traces().contains(
            QStringLiteral("Requesting the core application to restart in one minute.")));
        const DateValue stopped = r.loop().CoreStopTime;
        QCOMPARE(stopped, r.t.clock.now());
        for (int second = 1; second < 60; second += 29) {
            r.t.clock.set(stopped.addSeconds(second));
            r.window->Timer1_Timer();
            QVERIFY(r.t.launcher.starts.empty());
            QVERIFY(r.loop().tickTrace.endsWith(QStringLiteral("MSCA_GO=0;MSCA=0;")));
        }
        r.t.clock.set(stopped.addSeconds(59));
        r.window->Timer1_Timer();
        QVERIFY(r.t.launcher.starts.empty());
        r.t.clock.set(stopped.addSeconds(60));
        r.window->Timer1_Timer();
        QCOMPARE(r.t.launcher.starts.size(), 1u);

        // The second abort is one more than a tolerance of 1.
        r.set("State", "999");
        r.tick();
        QCOMPARE(r.t.boxes.texts(),
                 QStringList{
                     QStringLiteral("Unable to continue: the monitor timer has aborted 1 times.")});
        QVERIFY(r.loop().Closing);
        QVERIFY(!r.loop().timerEnabled);
    }

    void aSuspendedCoreThatWentIsNotReplaced() {
        const DateValue now = SettableClock().now();
        Rig r(MonitorLoopState{
            .LastSettingsRefresh = now, .CoreStartTime = now, .CoreStopTime = now});
        r.set("State", "2");
        r.tick(120);
        QCOMPARE(r.loop().tickTrace, QStringLiteral("P=0;AR=0;MSCA_AS=2;MSCA_RP=0;MSCA=0;"));
        QVERIFY(r.loop().CoreStartTime.isZero());
        QVERIFY(r.loop().CoreStopTime.isZero());
        QVERIFY(r.t.launcher.starts.empty());
        r.set("Command", "2");
        r.tick();
        QCOMPARE(r.t.launcher.starts.size(), 1u);
        QCOMPARE(r.loop().Launches, 1);
        QCOMPARE(r.loop().LastLaunchTime, r.t.clock.now());
    }

    void captionsFollowTheState() {
        Rig r(MonitorLoopState{.ScheduleSuspended = true,
                               .LastSettingsRefresh = SettableClock().now()});
        r.settings.MonitorStartMinutes = 480;
        r.t.windows.open.insert(kCoreCaption);
        r.set("State", "1");
        r.tick();
        QCOMPARE(r.window->windowTitle(), kTitle + QStringLiteral(" (Running)"));
        QCOMPARE(r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"))->text(),
                 QStringLiteral("Suspend"));
        QCOMPARE(r.window->findChild<QAction*>(QStringLiteral("mnuSuspend"))->text(),
                 QStringLiteral("Suspend"));
        r.set("State", "2");
        r.tick();
        QCOMPARE(r.window->windowTitle(), kTitle + QStringLiteral(" (Suspended until 08:00)"));
        QCOMPARE(r.window->findChild<QAction*>(QStringLiteral("mnuSuspend"))->text(),
                 QStringLiteral("Resume"));
        QVERIFY(!r.window->findChild<QAction*>(QStringLiteral("mnuRunNow"))->isEnabled());

        // Captions that differ only in case count as the same.
        r.window->setWindowTitle((kTitle + QStringLiteral(" (running)")).toUpper());
        r.window->findChild<QAction*>(QStringLiteral("mnuSuspend"))
            ->setText(QStringLiteral("RESUME"));
        r.set("State", "1");
        r.tick();
        QCOMPARE(r.window->windowTitle(), (kTitle + QStringLiteral(" (running)")).toUpper());
        QCOMPARE(r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"))->text(),
                 QStringLiteral("Resume"));
        QCOMPARE(r.window->findChild<QAction*>(QStringLiteral("mnuSuspend"))->text(),
                 QStringLiteral("RESUME"));
    }

    void suspendPressedTwiceWritesOneCommand() {
        Rig r;
        auto* button = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        button->setText(QStringLiteral("Suspend"));
        r.set("State", "1");
        r.set("Command", "0");
        r.window->cmdCommand_Click();
        QCOMPARE(r.get("Command"), QStringLiteral("3"));
        QCOMPARE(r.get("Status"), QString());
        r.set("Status", "busy");
        r.window->mnuSuspend_Click();
        QCOMPARE(r.get("Command"), QStringLiteral("3"));
        QCOMPARE(r.get("Status"), QStringLiteral("busy"));
        QVERIFY(!button->isEnabled());
    }

    void startWritesTheBannerWhateverTheTraceSwitch() {
        Rig r;
        r.window->cmdCommand_Click();
        const QString rule(80, QLatin1Char('='));
        QCOMPARE(r.traces(), QStringList({QString(), rule, QStringLiteral("Monitor Started"),
                                          QString(), rule}));
        QCOMPARE(r.get("Command"), QStringLiteral("1"));
        QVERIFY(r.loop().timerEnabled);
        QCOMPARE(r.loop().MonitorStartTime, r.t.clock.now());
    }

    void theLayoutIsMadeWhenTheWindowFirstShows() {
        Rig r;
        r.window->show();
        auto* command = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        auto* trace = r.window->findChild<QCheckBox*>(QStringLiteral("chkTrace"));
        QCOMPARE(r.window->twipsGeometry(command).topLeft(), QPoint(3345, 2040));
        QCOMPARE(r.window->twipsGeometry(trace).top(), 2040 + 375 - 255);
    }

    void aLoadThatFailsEarlyStillLeavesAWindowToClose() {
        Rig r;
        // No term translator: the load fails before the window shows.
        r.window->Form_Load();
        QVERIFY(r.window->isVisible());
        QVERIFY(r.t.errors().reports.last().contains(QStringLiteral("(Code 11062 in")));
        QVERIFY(!r.loop().timerEnabled);
        r.t.setControl("ExitMonitor", QStringLiteral("1"), QStringLiteral("Warnings"));
        QVERIFY(r.window->close());
        QVERIFY(r.loop().Closing);
    }

    void buttonsKeepTheirPlaceBelowTheDesignedSize() {
        Rig r;
        r.window->show();
        r.window->resize(r.window->toPixels(4000), r.window->toPixels(2000));
        QCoreApplication::processEvents();
        auto* command = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        auto* exit = r.window->findChild<QPushButton*>(QStringLiteral("cmdExit"));
        QCOMPARE(r.window->twipsGeometry(command).topLeft(), QPoint(3345, 2040));
        QCOMPARE(r.window->twipsGeometry(exit).topLeft(), QPoint(4620, 2040));
        const int menu = r.window->height() - r.window->toPixels(2000);
        r.window->resize(r.window->toPixels(5910 + 1500), menu + r.window->toPixels(2955 + 600));
        QCoreApplication::processEvents();
        const QSize larger = r.window->outerTwips();
        QCOMPARE(r.window->twipsGeometry(exit).left(), larger.width() - 6030 + 4620);
        QCOMPARE(r.window->twipsGeometry(exit).top(), larger.height() - 3765 + 2040);
        QCOMPARE(r.window->twipsGeometry(command).left(), larger.width() - 6030 + 4620 - 1275);
    }
};

QTEST_MAIN(TestTimerLoop)
#include "TestTimerLoop.moc"
