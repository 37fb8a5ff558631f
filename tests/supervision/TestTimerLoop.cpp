#include "MonitorRig.h"

#include <QAction>
#include <QFile>
#include <QPushButton>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestTimerLoop : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void aBusyOrRefusedTickGoesNoFurther() {
        Rig r(MonitorLoopState{});  // settings due for a refresh
        r.set("Processing", "1");
        r.tick();
        QCOMPARE(r.loop().tickTrace, QStringLiteral("P=1;"));
        r.set("Processing", "0");
        r.set("CoreHasDBIssues", "1");
        r.tick();
        QCOMPARE(r.loop().tickTrace, QStringLiteral("P=0;MGS=0;"));
        QVERIFY(r.loop().timerEnabled);
        QCOMPARE(r.window->windowTitle(), QStringLiteral("Monitor"));
        // Refused without touching the database, which this window does not have.
        QVERIFY(r.t.errors().reports.isEmpty());
    }

    void anUnchangedTraceIsWrittenOnce() {
        Rig r;
        r.t.ctx->traceOn = true;
        r.t.windows.open.insert(kCoreCaption);
        r.tick();
        r.tick();
        // A busy tick writes nothing, but counts as the previous trace.
        r.set("Processing", "1");
        r.tick();
        r.set("Processing", "0");
        r.tick();
        QCOMPARE(r.traces(), QStringList(2, QStringLiteral("P=0;AR=1;")));
    }

    void aStartThatFailsStopsTheLoop_data() {
        QTest::addColumn<bool>("missing");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");  // none: the program's default title
        QTest::newRow("missing") << true << "The Monitor timer program %1 is missing.  " << kTitle;
        QTest::newRow("refused") << false
                                 << "The Monitor Timer application failed to start.  Please "
                                    "check this file exists: \r\n%1\r\n\r\nPermission denied (13)"
                                 << QString();
    }
    void aStartThatFailsStopsTheLoop() {
        QFETCH(bool, missing);
        QFETCH(QString, text);
        Rig r;
        const QString core = r.t.folder.filePath(QStringLiteral("HvxMonCore"));
        QVERIFY(!missing || QFile::remove(core));
        r.t.launcher.failWith = LaunchResult{false, 13, QStringLiteral("Permission denied")};
        r.tick();
        QVERIFY(!r.loop().timerEnabled);
        QCOMPARE(r.t.boxes.texts(), QStringList{text.arg(core)});
        QTEST(r.t.boxes.shown().front().title.value_or(QString()), "title");
    }

    // The core application's command line, and the time-out when its window never shows.
    void aLaunchedCoreThatNeverShowsItsWindowTimesOut_data() {
        QTest::addColumn<QString>("instance");
        QTest::newRow("single instance") << QString();
        QTest::newRow("instance with a blank") << QStringLiteral("North Wing");
    }
    void aLaunchedCoreThatNeverShowsItsWindowTimesOut() {
        QFETCH(QString, instance);
        Rig r;
        r.t.ctx->instanceName = instance;
        r.t.ctx->databaseUserId = QStringLiteral("helpdesk");
        r.t.ctx->databasePassword = QStringLiteral("pa ss");
        r.tick();
        QCOMPARE(r.t.launcher.starts.size(), 1u);
        QCOMPARE(r.t.launcher.starts[0].program, r.t.folder.filePath(QStringLiteral("HvxMonCore")));
        QCOMPARE(r.t.launcher.starts[0].arguments,
                 instance.isEmpty() ? QStringList() : QStringList{instance});
        QCOMPARE(r.t.launcher.starts[0].style, WindowStyle::MinimizedNoActivate);
        QCOMPARE(r.get("UserId"), QStringLiteral("helpdesk"));
        QCOMPARE(r.get("Pwd"), QStringLiteral("pa ss"));
        const DateValue launched = r.loop().CoreStartTime;
        r.tick(10);
        QVERIFY(r.t.boxes.shown().empty());
        QVERIFY(r.loop().timerEnabled);
        r.tick(1);
        QVERIFY(!r.loop().timerEnabled);
        QCOMPARE(r.t.launcher.starts.size(), 1u);
        QCOMPARE(r.t.boxes.texts().size(), 1);
        QVERIFY(r.t.boxes.texts().front().startsWith(
            QStringLiteral("The Monitor Timer program has not started successfully.\r\n\r\nIt "
                           "was started at %1 and it is not running at %2.")
                .arg(formatGeneralDate(launched), formatGeneralDate(r.t.clock.now()))));
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
        QCOMPARE(r.get("Command"), QStringLiteral("<missing>"));
        QCOMPARE(r.get("Processing"), QStringLiteral("<missing>"));
        QVERIFY(r.traces().contains(
            QStringLiteral("Requesting the core application to restart in one minute.")));
        r.tick(59);
        QVERIFY(r.t.launcher.starts.empty());
        r.tick(1);
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

    void aSuspendedCoreThatWentIsNotReplacedUntilResumed() {
        const DateValue now = SettableClock().now();
        Rig r(MonitorLoopState{
            .LastSettingsRefresh = now, .CoreStartTime = now, .CoreStopTime = now});
        r.set("State", "2");
        r.tick(120);
        QVERIFY(r.loop().CoreStartTime.isZero());
        QVERIFY(r.loop().CoreStopTime.isZero());
        QVERIFY(r.t.launcher.starts.empty());
        r.set("Command", "2");
        r.tick();
        QCOMPARE(r.t.launcher.starts.size(), 1u);
    }

    void captionsFollowTheState() {
        Rig r(MonitorLoopState{.ScheduleSuspended = true,
                               .LastSettingsRefresh = SettableClock().now()});
        auto* button = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        auto* suspend = r.window->findChild<QAction*>(QStringLiteral("mnuSuspend"));
        r.settings.MonitorStartMinutes = 480;
        r.t.windows.open.insert(kCoreCaption);
        r.set("State", "1");
        r.tick();
        QCOMPARE(r.window->windowTitle(), kTitle + QStringLiteral(" (Running)"));
        QCOMPARE(button->text(), QStringLiteral("Suspend"));
        QCOMPARE(suspend->text(), QStringLiteral("Suspend"));
        r.set("State", "2");
        r.tick();
        QCOMPARE(r.window->windowTitle(), kTitle + QStringLiteral(" (Suspended until 08:00)"));
        QCOMPARE(suspend->text(), QStringLiteral("Resume"));
        QVERIFY(!r.window->findChild<QAction*>(QStringLiteral("mnuRunNow"))->isEnabled());

        // Captions that differ only in case count as the same.
        r.window->setWindowTitle((kTitle + QStringLiteral(" (running)")).toUpper());
        suspend->setText(QStringLiteral("RESUME"));
        r.set("State", "1");
        r.tick();
        QCOMPARE(r.window->windowTitle(), (kTitle + QStringLiteral(" (running)")).toUpper());
        QCOMPARE(button->text(), QStringLiteral("Resume"));
        QCOMPARE(suspend->text(), QStringLiteral("RESUME"));
    }

    void startWritesTheBannerAndSuspendWritesOneCommand() {
        Rig r;
        auto* button = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        r.window->cmdCommand_Click();
        const QString rule(80, QLatin1Char('='));
        QCOMPARE(r.traces(), QStringList({QString(), rule, QStringLiteral("Monitor Started"),
                                          QString(), rule}));
        QCOMPARE(r.get("Command"), QStringLiteral("1"));
        QVERIFY(r.loop().timerEnabled);
        QCOMPARE(r.loop().MonitorStartTime, r.t.clock.now());

        button->setText(QStringLiteral("Suspend"));
        r.set("State", "1");
        r.set("Command", "0");
        r.window->cmdCommand_Click();
        QCOMPARE(r.get("Command"), QStringLiteral("3"));
        QCOMPARE(r.get("Status"), QString());
        // A second press while the first is pending writes nothing.
        r.set("Status", "busy");
        r.window->mnuSuspend_Click();
        QCOMPARE(r.get("Command"), QStringLiteral("3"));
        QCOMPARE(r.get("Status"), QStringLiteral("busy"));
        QVERIFY(!button->isEnabled());
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

    // Laid out when first shown; below the designed size the buttons keep their place, above
    // it they follow the bottom right corner.
    void theButtonsFollowTheWindowsSize() {
        Rig r;
        r.window->show();
        auto* command = r.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        auto* exit = r.window->findChild<QPushButton*>(QStringLiteral("cmdExit"));
        QCOMPARE(r.window->twipsGeometry(command).topLeft(), QPoint(3345, 2040));
        r.window->resize(r.window->toPixels(4000), r.window->toPixels(2000));
        QCoreApplication::processEvents();
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
