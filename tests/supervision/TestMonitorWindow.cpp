// The main window's loop, tick by tick on a test environment, and what it shows.
#include "app/ApplicationIcon.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "settings/SystemSettings.h"
#include "supervision/StatusPanel.h"
#include "supervision/UptimeText.h"
#include "supervision/frmMonitor.h"

#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <optional>

using namespace hvx;
using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");
const QString kCoreCaption = QStringLiteral("Help Desk Monitor Timer");

// A window on a test environment, with the settings already fresh (unless the test starts the
// loop otherwise) so that a tick does not need the database, and an executable where the core
// application is looked for.
struct Rig {
    explicit Rig(const std::optional<MonitorLoopState>& start = std::nullopt) {
        t.ctx->applicationTitle = kTitle;
        t.ctx->coreWindowCaption = kCoreCaption;
        writeScript(t.folder.filePath(QStringLiteral("HvxMonCore")), {});
        window = std::make_unique<frmMonitor>(
            *t.ctx, settings,
            start.value_or(MonitorLoopState{.LastSettingsRefresh = t.clock.now()}));
    }
    MonitorLoopView loop() const { return window->loopState(); }
    StatusPanel* panel(int number) const {
        return window->findChild<StatusPanel*>(QStringLiteral("StatusBar1Panel%1").arg(number));
    }
    void set(const char* name, const char* value) {
        t.setControl(name, QString::fromLatin1(value));
    }
    QString get(const char* name) { return t.control(name); }
    void tick(int seconds = 1) {
        t.clock.advanceSeconds(seconds);
        window->Timer1_Timer();
    }
    // What the loop wrote to the trace, in order.
    QStringList traces() {
        static const QRegularExpression kTrace(QStringLiteral("^TRACE: "));
        return t.errors().reports.filter(kTrace).replaceInStrings(kTrace, QString());
    }

    TestEnvironment t;
    SystemSettings settings;
    std::unique_ptr<frmMonitor> window;
};

// Counts the paint events that reach the watched widgets.
class PaintCounter final : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++paints[watched];
        }
        return false;
    }
    QHash<QObject*, int> paints;
};

}  // namespace

class TestMonitorWindow : public QObject {
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

    // Halves round away from zero, whatever the digit before them.
    void uptimeInTenthsOfAnHour_data() {
        QTest::addColumn<qint64>("minutes");
        QTest::addColumn<QString>("hours");
        QTest::newRow("9 minutes: 0.15") << 9LL << "0.2";
        QTest::newRow("21 minutes: 0.35") << 21LL << "0.4";
        QTest::newRow("27 minutes: 0.45") << 27LL << "0.5";
        QTest::newRow("89 minutes") << 89LL << "1.5";
        QTest::newRow("2 minutes rounds down") << 2LL << "0.0";
        QTest::newRow("60,000 minutes: no group separator") << 60'000LL << "1000.0";
        QTest::newRow("clock set back 9 minutes") << -9LL << "-0.2";
    }
    void uptimeInTenthsOfAnHour() {
        QFETCH(qint64, minutes);
        QFETCH(QString, hours);
        QCOMPARE(uptimeText(minutes),
                 QStringLiteral("Monitor uptime: ") +
                     hours.replace(QLatin1Char('.'), QLocale::system().decimalPoint()) +
                     QStringLiteral(" hours."));
    }

    // Raised when an error appears, not when its text changes; its text shows from its
    // beginning, line after line, as much as the designed frame holds.
    void theErrorIndicator() {
        Rig r;
        QSignalSpy raised(r.window.get(), &frmMonitor::errorIndicatorRaised);
        auto* label = r.window->findChild<QLabel*>(QStringLiteral("lblErrorLog"));
        const QString info = QStringLiteral("Error 3021 at 09:38:10 in the mail reader:") +
                             QStringLiteral(" no current record").repeated(9);
        r.t.setControl("ErrorInfo", info);
        r.window->ShowStatus();
        for (const char* part : {"ErrorLogFrame", "lblErrorLog", "imgErrorLog"}) {
            QCOMPARE(r.window->findChild<QWidget*>(QString::fromLatin1(part))->toolTip(), info);
        }
        const QString shown = label->text();
        QVERIFY2(shown.endsWith(QChar(0x2026)), qPrintable(shown));
        QVERIFY(label->heightForWidth(label->width()) <= label->height());
        QVERIFY(info.startsWith(shown.chopped(1).replace(QLatin1Char('\n'), QLatin1Char(' '))));

        // A short text shows whole; one that differs only in case changes nothing.
        r.set("ErrorInfo", "Mail server refused");
        r.window->ShowStatus();
        r.set("ErrorInfo", "MAIL SERVER REFUSED");
        r.window->ShowStatus();
        QCOMPARE(label->text(), QStringLiteral("Mail server refused"));
        QCOMPARE(raised.size(), 1);
    }

    // The shipped icon is compiled in and sharp at twice the size too: rendered at that size,
    // not scaled from a small picture. The screen's dark frame runs from 4/64 to 9/64 of the
    // width. The window wears it, and the warning picture only while the indicator is up.
    void theWindowWearsTheIconWhileNoErrorShows() {
        for (const int size : {16, 64, 128}) {
            const QImage image = applicationIcon().pixmap(size, size).toImage();
            QCOMPARE(image.width(), size);
            QCOMPARE(image.pixelColor(size * 6 / 64, size / 2).name(), QStringLiteral("#1f3b5c"));
        }
        QApplication::setWindowIcon(applicationIcon());
        Rig r;
        for (const char* info : {"", "Error 3021", ""}) {
            r.set("ErrorInfo", info);
            r.window->ShowStatus();
            QCOMPARE(r.window->windowIcon().cacheKey() == QApplication::windowIcon().cacheKey(),
                     *info == '\0');
        }
    }

    void aPanelRepaintsOnlyWhenItsTextChanges() {
        Rig r;
        r.t.windows.open.insert(kCoreCaption);
        r.set("State", "1");
        r.set("Status", "Idle: 3 requests processed");
        r.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(r.window.get()));
        r.tick();
        QCoreApplication::processEvents();
        PaintCounter counter;
        for (int number = 1; number <= 3; ++number) {
            r.panel(number)->installEventFilter(&counter);
        }
        r.tick();
        QCoreApplication::processEvents();
        QVERIFY(counter.paints.isEmpty());
        r.set("Status", "Sending 2 messages");
        r.tick();
        // Within the tick itself, before any window event runs.
        QCOMPARE(counter.paints.value(r.panel(2)), 1);
        QCOMPARE(counter.paints.size(), 1);
        // A panel that does not exist is ignored, silently.
        for (int panel : {0, 4}) {
            r.window->UpdateStatusBar(QStringLiteral("out of range"), panel);
        }
        QCOMPARE(counter.paints.size(), 1);
        QVERIFY(r.t.errors().reports.isEmpty());
    }

    void theUptimeShowsOnceStartedKeepsItsWidthAndTheOthersTakeTheRest() {
        const DateValue start = SettableClock().now();
        Rig r(MonitorLoopState{.MonitorStartTime = start, .LastSettingsRefresh = start});
        r.set("State", "0");
        r.t.clock.advanceSeconds(std::int64_t{89} * 60);
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), QString());
        r.set("State", "1");
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), uptimeText(89));
        r.t.clock.advanceSeconds(std::int64_t{6} * 60);
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), uptimeText(95));
        r.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(r.window.get()));
        StatusPanel* uptime = r.panel(1);
        for (const char* longest :
             {"Monitor uptime: 9999.9 hours.", "Monitor uptime: 10000.0 hours."}) {
            QVERIFY2(uptime->fontMetrics().horizontalAdvance(QString::fromLatin1(longest)) <=
                         uptime->width() - 4,
                     longest);
        }
        // Side by side, none over another.
        QVERIFY(uptime->geometry().right() < r.panel(2)->x());
        QVERIFY(r.panel(2)->geometry().right() < r.panel(3)->x());
        const int widths[3] = {uptime->width(), r.panel(2)->width(), r.panel(3)->width()};
        r.window->resize(r.window->width() + 300, r.window->height());
        QTRY_VERIFY(r.panel(2)->width() > widths[1]);
        QVERIFY(r.panel(3)->width() > widths[2]);
        QCOMPARE(uptime->width(), widths[0]);
    }
};

QTEST_MAIN(TestMonitorWindow)
#include "TestMonitorWindow.moc"
