// A week of supervision in one run: the real main window, its real store, error manager and
// help-desk database, driven second by second by the settable clock against a scripted core
// application that aborts a thousand times, is renewed, is suspended and resumed by the
// scheduled hours, and reports an error every day. Whatever the week does, nothing may stick:
// every stop is followed by its relaunch, every flip of the schedule by its command, the log
// stays within its limit and the process does not grow.
#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "components/FileErrorManager.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "fakes/TestFiles.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QFrame>
#include <QTest>

#include <optional>
#include <utility>

#include <unistd.h>

using namespace hvx;
using namespace hvx::test;

namespace {

// AddressSanitizer holds freed memory in quarantine, so resident memory tells nothing there.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kAddressSanitizer = false;
#endif

constexpr int kDaySeconds = 24 * 60 * 60;
constexpr int kWeekSeconds = 7 * kDaySeconds;
constexpr int kAborts = 1000;
constexpr int kRenewMinutes = 240;
constexpr int kRelaunchSeconds = 60;
constexpr double kLogLimitMegabytes = 0.25;
constexpr int kKeptFaults = 20;

const QString kCoreCaption = QStringLiteral("Help Desk Monitor Timer");
const QString kAlertMessage = QStringLiteral("The Monitor has logged an error");
const QString kAlertDestination = QStringLiteral("supervisor1");
// Scheduled hours 06:00 to 22:00: suspended from 22:01, resumed at 06:01.
const QTime kSuspendAt(22, 1, 0);
const QTime kResumeAt(6, 1, 0);
// The core application reports an error at noon; the operator clears it at night.
const QTime kErrorAt(12, 0, 0);
const QTime kClearAt(23, 0, 0);
// It aborts after three minutes of running, in the daytime, until it has aborted often enough;
// later copies live until they are renewed. A renewal falling on the tick of a flip would
// overwrite the flip's command (both go into Command), so the last daytime launch is kept
// clear of 18:00, whose renewal would come at 22:01.
const QTime kAbortsFrom(6, 30, 0);
const QTime kAbortsUntil(17, 0, 0);
constexpr int kAbortAfterSeconds = 180;

qint64 residentBytes() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    const QList<QByteArray> fields =
        statm.open(QIODevice::ReadOnly) ? statm.readAll().split(' ') : QList<QByteArray>();
    return fields.size() > 1 ? fields[1].toLongLong() * sysconf(_SC_PAGESIZE) : -1;
}

// The core application as the Monitor sees it: a caption that comes and goes and the control
// values it takes and writes, with HvxMonCore's rules. A copy started by the Monitor comes up
// one second later.
class ScriptedCore {
  public:
    explicit ScriptedCore(TestEnvironment& t) : t_(t) {}

    // One second of the core application's life, before the Monitor's tick of that second.
    void live() {
        abortedNow = false;
        reportedNow = false;
        const DateValue now = t_.clock.now();
        if (std::exchange(startPending, false)) {
            startedWhileUp = startedWhileUp || up_;
            running_ = isCode(t_.control("State"), state::kRunning);
            t_.setControl("Processing", QStringLiteral("0"));
            t_.windows.open.insert(kCoreCaption);
            up_ = true;
            upSince_ = now;
        }
        if (up_) {
            takeCommand();
        }
        if (!up_) {
            return;
        }
        const QTime time = now.time();
        if (running_ && aborts < kAborts && time >= kAbortsFrom && time < kAbortsUntil &&
            secondsBetween(upSince_, now) >= kAbortAfterSeconds) {
            t_.setControl("State", QString(state::kAborted));
            goAway();
            ++aborts;
            abortedNow = true;
            return;
        }
        if (running_ && time >= kErrorAt && now.date() != lastReport_) {
            lastReport_ = now.date();
            t_.setControl("ErrorInfo", QStringLiteral("The mail server did not answer on ") +
                                           now.date().toString());
            reportedNow = true;
        }
        const QLatin1String code = running_ ? state::kRunning : state::kSuspended;
        if (t_.control("State") != code) {
            t_.setControl("State", code);
            t_.setControl("Status", running_ ? QStringLiteral("Processing")
                                             : QStringLiteral("Suspended by the Monitor"));
        }
    }

    bool startPending = false;
    bool startedWhileUp = false;
    int aborts = 0;
    bool abortedNow = false;
    bool reportedNow = false;

  private:
    void goAway() {
        t_.windows.open.remove(kCoreCaption);
        up_ = false;
    }
    void takeCommand() {
        const QString command = t_.control("Command");
        if (isCode(command, command::kNone) || command == QLatin1String("<missing>")) {
            return;
        }
        t_.setControl("Command", QString(command::kNone));
        if (isCode(command, command::kStart) || isCode(command, command::kResume) ||
            isCode(command, command::kRunNow)) {
            running_ = true;
        } else if (isCode(command, command::kSuspend)) {
            running_ = false;
        } else if (isCode(command, command::kClose) || isCode(command, command::kRenew)) {
            goAway();
        }
    }

    TestEnvironment& t_;
    bool up_ = false;
    bool running_ = false;
    DateValue upSince_{};
    QDate lastReport_{};
};

// Drives the week second by second and checks each tick as it happens: the relaunch after every
// stop, the renewals, the schedule's commands, the settings refresh, the alerts and the log.
class Week {
  public:
    Week(TestEnvironment& t, frmMonitor& window, QString logPath)
        : core(t),
          t_(t),
          window_(window),
          indicator_(window.findChild<QFrame*>(QStringLiteral("ErrorLogFrame"))),
          logPath_(std::move(logPath)),
          lastRefresh_(window.loopState().LastSettingsRefresh) {}

    // One second: the core application's, the operator's nightly clear, then the Monitor's tick.
    void second() {
        t_.clock.advanceSeconds(1);
        now_ = t_.clock.now();
        core.live();
        if (now_.time() == kClearAt) {
            window_.mnuClearErrorWarning_Click();
            ++clears;
        }
        // What the tick will find.
        const QString commandBefore = control(value::kCommand);
        const bool suspended = control(value::kState) == state::kSuspended;
        if (pendingStop && secondsBetween(*pendingStop, now_) == kRelaunchSeconds) {
            suspendedWhenDue_ = suspended;
        }
        if (wasSuspended_ && !suspended) {
            resumedAt_ = now_;
        }
        wasSuspended_ = suspended;
        suspendedSinceRefresh_ = suspendedSinceRefresh_ || suspended;
        abortsSinceRefresh_ += core.abortedNow ? 1 : 0;
        window_.Timer1_Timer();
        // The window's own events, but never the timer's: the clock drives the ticks.
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const MonitorLoopView loop = window_.loopState();
        const QString commandAfter = control(value::kCommand);
        watchStops(loop, commandAfter == command::kRenew && commandBefore != commandAfter);
        watchStarts();
        watchSchedule(commandBefore, commandAfter);
        watchRefresh(loop);
    }

    void checkLog() {
        const qint64 size = QFileInfo(logPath_).size();
        expect(size <= static_cast<qint64>(kLogLimitMegabytes * 1024 * 1024), "log bytes", size);
        logTrims += size < logSize_ ? 1 : 0;
        logSize_ = size;
        QFile file(logPath_);
        expect(file.open(QIODevice::ReadOnly) && !file.readAll().contains("  ERROR  "),
               "an error was logged");
    }

    QString control(QLatin1String name) const {
        return GetRegValue(*t_.ctx, t_.ctx->controlsSection, name, QStringLiteral("0"));
    }

    // A fault is described only when it happens: the week checks millions of times.
    void expect(bool holds, const char* what, qint64 figure = 0) {
        if (!holds && faults.size() < kKeptFaults) {
            faults.append(QStringLiteral("%1: %2 (%3)")
                              .arg(now_.toDateTime().toString(Qt::ISODate), QLatin1String(what))
                              .arg(figure));
        }
    }

    ScriptedCore core;
    QStringList faults;
    // A stop whose relaunch has not come yet.
    std::optional<DateValue> pendingStop;
    int launches = 0;
    int renewals = 0;
    int alerts = 0;
    int suspends = 0;
    int resumes = 0;
    int refreshes = 0;
    int logTrims = 0;
    int clears = 0;

  private:
    bool indicatorUp() const { return indicator_->isVisibleTo(&window_); }

    // Aborts are counted once each; renewals come AutoCloseMonitorMinutes after the launch.
    void watchStops(const MonitorLoopView& loop, bool renewed) {
        if (core.abortedNow) {
            expect(loop.AbortCount == core.aborts, "AbortCount after an abort", loop.AbortCount);
        }
        if (renewed) {
            ++renewals;
            const qint64 age = secondsBetween(lastLaunch_, now_);
            expect(age > qint64{kRenewMinutes} * 60 && age <= qint64{kRenewMinutes} * 60 + 60,
                   "renewed seconds after launch", age);
        }
        if (core.abortedNow || renewed) {
            expect(!pendingStop, "a stop while one was pending");
            pendingStop = now_;
        }
        // A stop that nobody relaunches shows as a core application gone for more than its
        // minute outside the suspended nights.
        expect(!pendingStop || suspendedWhenDue_ ||
                   secondsBetween(*pendingStop, now_) <= kRelaunchSeconds + 2,
               "no relaunch after a stop");
    }

    // Launches: the first Start, then one per stop a minute later, or at the resume (and only
    // then) when the core application was suspended a minute after its stop. Alerts: one batch per
    // error raised.
    void watchStarts() {
        bool alerted = false;
        for (const FakeLauncher::Start& start : t_.launcher.starts) {
            if (start.program.endsWith(QStringLiteral("/HvxMonCore"))) {
                const qint64 gap = pendingStop ? secondsBetween(*pendingStop, now_) : -1;
                const bool onTime = gap >= kRelaunchSeconds && gap <= kRelaunchSeconds + 2;
                expect(launches == 0 || (onTime && !suspendedWhenDue_) ||
                           (suspendedWhenDue_ && now_.time() == kResumeAt),
                       "launched seconds after its stop", gap);
                pendingStop.reset();
                suspendedWhenDue_ = false;
                lastLaunch_ = now_;
                ++launches;
                core.startPending = true;
            } else {
                ++alerts;
                alerted = true;
                expect(core.reportedNow &&
                           start.program.endsWith(QStringLiteral("/hvx-net-send")) &&
                           start.arguments == QStringList{kAlertDestination, kAlertMessage},
                       "a start out of turn");
            }
        }
        t_.launcher.starts.clear();
        if (core.reportedNow) {
            expect(indicatorUp() && alerted, "an error raised no indicator");
        }
        if (now_.time() == kClearAt) {
            expect(!indicatorUp() && control(value::kErrorInfo).isEmpty(),
                   "the error warning stayed up");
        }
    }

    // The scheduled hours: their two commands, each at its minute and only then.
    void watchSchedule(const QString& before, const QString& after) {
        const QTime time = now_.time();
        if (time == kSuspendAt || time == kResumeAt) {
            const bool suspending = time == kSuspendAt;
            expect(after == (suspending ? command::kSuspend : command::kResume),
                   "Command at the flip", after.toLongLong());
            (suspending ? suspends : resumes) += 1;
        } else if (after != before) {
            expect(after != command::kSuspend && after != command::kResume,
                   "Command off the schedule", after.toLongLong());
        }
    }

    // The settings refresh: every one to two minutes while not suspended, a tick later for
    // each abort in between, and at once after a resume.
    void watchRefresh(const MonitorLoopView& loop) {
        if (loop.LastSettingsRefresh == lastRefresh_) {
            return;
        }
        const qint64 gap = secondsBetween(lastRefresh_, now_);
        lastRefresh_ = loop.LastSettingsRefresh;
        expect(lastRefresh_ == now_, "a refresh stamped off its tick");
        expect(++refreshes == 1 ||
                   (gap > 60 && (suspendedSinceRefresh_ || gap <= 120 + abortsSinceRefresh_)),
               "settings refreshed after seconds", gap);
        expect(!resumedAt_ || secondsBetween(*resumedAt_, now_) <= 1,
               "the refresh lagged behind the resume");
        resumedAt_.reset();
        abortsSinceRefresh_ = 0;
        suspendedSinceRefresh_ = false;
    }

    TestEnvironment& t_;
    frmMonitor& window_;
    QFrame* indicator_;
    QString logPath_;
    DateValue now_{};
    DateValue lastLaunch_{};
    bool suspendedWhenDue_ = false;
    DateValue lastRefresh_;
    int abortsSinceRefresh_ = 0;
    bool suspendedSinceRefresh_ = false;
    std::optional<DateValue> resumedAt_;
    bool wasSuspended_ = false;
    qint64 logSize_ = 0;
};

}  // namespace

class TestSimulatedWeek : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void aWeekOfSupervisionLeavesNothingBehind() {
        TestEnvironment t;
        t.clock.set(DateValue::fromParts({2026, 11, 23}, {6, 30, 0}));  // a Monday
        const QString logPath = t.folder.filePath(QStringLiteral("monitorlog.txt"));
        auto log = std::make_unique<FileErrorManager>(t.clock, &t.boxes);
        log->SetEnabled(true);
        log->SetStartupComplete(true);
        log->SetLogFile(logPath);
        log->SetLogFileLimit(kLogLimitMegabytes);
        // Before the database: its manager reports through the error manager it was given.
        t.ctx->errorManager = std::move(log);
        HelpDeskFixture db(t);
        db.setSetting(QStringLiteral("MonitorCnnTolerance"), QString::number(kAborts));
        db.setSetting(QStringLiteral("AutoCloseMonitorMinutes"), QString::number(kRenewMinutes));
        db.setSetting(QStringLiteral("MonitorStopMinutes"), QStringLiteral("1320"));
        db.setSetting(QStringLiteral("MonitorStartMinutes"), QStringLiteral("360"));
        db.setSetting(QStringLiteral("MonitorLogFileLimit"), QString::number(kLogLimitMegabytes));

        AppContext& ctx = *t.ctx;
        ctx.applicationTitle = QStringLiteral("Help Desk Monitor");
        ctx.coreWindowCaption = kCoreCaption;
        ctx.databaseDescription = QStringLiteral("Help desk on a file database");
        ctx.termTranslator = std::make_unique<DatabaseTermTranslator>();
        ctx.termTranslator->SetDatabase(ctx.databaseManager.get());
        ctx.termTranslator->LoadLanguage(QStringLiteral("ENG"), 1);
        for (const char* program : {"HvxMonCore", "hvx-net-send"}) {
            QVERIFY(writeScript(t.folder.filePath(QString::fromLatin1(program)), {}));
        }
        SaveRegValue(ctx, ctx.optionsSection, QString(value::kTrace), QStringLiteral("1"));
        SaveRegValue(ctx, ctx.optionsSection, QString(value::kAlertMsg), kAlertMessage);
        SaveRegValue(ctx, ctx.optionsSection, QString(value::kAlertOp1), kAlertDestination);

        SystemSettings settings;
        QVERIFY(LoadSystemSettings(ctx, settings));
        frmMonitor window(ctx, settings);
        window.Form_Load();
        window.cmdCommand_Click();

        Week week(t, window, logPath);
        qint64 memoryAfterFirstDay = -1;
        QElapsedTimer wall;
        wall.start();
        int ticks = 0;
        for (; ticks < kWeekSeconds && week.faults.size() < kKeptFaults; ++ticks) {
            week.second();
            if (ticks % 3600 == 0) {
                week.checkLog();
            }
            if (ticks + 1 == kDaySeconds) {
                memoryAfterFirstDay = residentBytes();
            }
        }
        const qint64 memoryGrowth = residentBytes() - memoryAfterFirstDay;
        qInfo(
            "week: %d ticks in %.1f s wall time; %d aborts, %d renewals, %d launches, "
            "%d suspends, %d resumes, %d settings refreshes, %d alerts, %d clears, %d log "
            "trims seen; resident memory grew %lld bytes after day 1%s",
            ticks, static_cast<double>(wall.elapsed()) / 1000.0, week.core.aborts, week.renewals,
            week.launches, week.suspends, week.resumes, week.refreshes, week.alerts, week.clears,
            week.logTrims, static_cast<long long>(memoryGrowth),
            kAddressSanitizer ? " (not checked under AddressSanitizer)" : "");

        QVERIFY2(week.faults.isEmpty(), qPrintable(week.faults.join(QLatin1Char('\n'))));
        QCOMPARE(ticks, kWeekSeconds);
        QVERIFY(!week.core.startedWhileUp);
        QCOMPARE(week.core.aborts, kAborts);
        QCOMPARE(week.launches,
                 1 + kAborts + week.renewals - (week.pendingStop.has_value() ? 1 : 0));
        QVERIFY(week.renewals >= 7);
        for (const int perDay : {week.suspends, week.resumes, week.alerts, week.clears}) {
            QCOMPARE(perDay, 7);
        }
        QVERIFY(week.logTrims >= 1);
        QCOMPARE(t.boxes.texts(), QStringList());

        if (!kAddressSanitizer) {
            QVERIFY(memoryAfterFirstDay > 0);
            QVERIFY2(memoryGrowth < qint64{1024} * 1024, qPrintable(QString::number(memoryGrowth)));
        }
    }
};

QTEST_MAIN(TestSimulatedWeek)
#include "TestSimulatedWeek.moc"
