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

#include <cstdint>
#include <memory>
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
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

constexpr int kDaySeconds = 24 * 60 * 60;
constexpr int kWeekSeconds = 7 * kDaySeconds;
constexpr int kAborts = 1000;
constexpr int kRenewMinutes = 240;
constexpr std::int64_t kRenewSeconds = std::int64_t{kRenewMinutes} * 60;
constexpr int kRelaunchSeconds = 60;
constexpr double kLogLimitMegabytes = 0.25;
constexpr qint64 kMemoryGrowthLimit = qint64{1024} * 1024;

const QString kTitle = QStringLiteral("Help Desk Monitor");
const QString kCoreCaption = kTitle + QStringLiteral(" Timer");
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
    if (!statm.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() * sysconf(_SC_PAGESIZE) : -1;
}

// The core application as the Monitor sees it: a caption that comes and goes and the control
// values it takes and writes, with HvxMonCore's rules. A copy started by the Monitor comes up
// one second later.
class ScriptedCore {
  public:
    explicit ScriptedCore(TestEnvironment& t) : t_(t) {}

    void started() { startPending_ = true; }
    bool startedWhileUp() const { return startedWhileUp_; }
    bool up() const { return up_; }
    int aborts() const { return aborts_; }
    bool abortedThisSecond() const { return abortedThisSecond_; }
    bool reportedThisSecond() const { return reportedThisSecond_; }

    // One second of the core application's life, before the Monitor's tick of that second.
    void live() {
        abortedThisSecond_ = false;
        reportedThisSecond_ = false;
        const DateValue now = t_.clock.now();
        if (startPending_) {
            startPending_ = false;
            startedWhileUp_ = startedWhileUp_ || up_;
            comeUp(now);
        }
        if (!up_) {
            return;
        }
        takeCommand();
        if (!up_) {
            return;
        }
        const QTime time = now.time();
        if (running_ && aborts_ < kAborts && time >= kAbortsFrom && time < kAbortsUntil &&
            secondsBetween(upSince_, now) >= kAbortAfterSeconds) {
            write(value::kState, QString(state::kAborted));
            goAway();
            ++aborts_;
            abortedThisSecond_ = true;
            return;
        }
        if (running_ && time >= kErrorAt && now.date() != lastReport_) {
            lastReport_ = now.date();
            write(value::kErrorInfo,
                  QStringLiteral("The mail server did not answer on ") + now.date().toString());
            reportedThisSecond_ = true;
        }
        publish();
    }

  private:
    QString read(QLatin1String name, QLatin1String fallback) {
        return GetRegValue(*t_.ctx, t_.ctx->controlsSection, name, fallback);
    }
    void write(QLatin1String name, const QString& text) {
        SaveRegValue(*t_.ctx, t_.ctx->controlsSection, name, text);
    }
    void comeUp(const DateValue& now) {
        const QString state = read(value::kState, defaults::kState);
        known_ = isCode(state, state::kRunning) || isCode(state, state::kSuspended);
        running_ = isCode(state, state::kRunning);
        write(value::kProcessing, QStringLiteral("0"));
        t_.windows.open.insert(kCoreCaption);
        up_ = true;
        upSince_ = now;
    }
    void goAway() {
        t_.windows.open.remove(kCoreCaption);
        up_ = false;
    }
    void takeCommand() {
        const QString command = read(value::kCommand, defaults::kCommand);
        if (command.isEmpty() || isCode(command, command::kNone)) {
            return;
        }
        write(value::kCommand, QString(command::kNone));
        if (isCode(command, command::kStart) || isCode(command, command::kResume) ||
            isCode(command, command::kRunNow)) {
            known_ = true;
            running_ = true;
        } else if (isCode(command, command::kSuspend)) {
            known_ = true;
            running_ = false;
        } else if (isCode(command, command::kClose) || isCode(command, command::kRenew)) {
            goAway();
        }
    }
    void publish() {
        if (!known_) {
            return;
        }
        const QString code = QString(running_ ? state::kRunning : state::kSuspended);
        if (read(value::kState, defaults::kState) != code) {
            write(value::kState, code);
            write(value::kStatus, running_ ? QStringLiteral("Processing")
                                           : QStringLiteral("Suspended by the Monitor"));
        }
    }

    TestEnvironment& t_;
    bool startPending_ = false;
    bool startedWhileUp_ = false;
    bool up_ = false;
    bool known_ = false;
    bool running_ = false;
    DateValue upSince_{};
    QDate lastReport_{};
    int aborts_ = 0;
    bool abortedThisSecond_ = false;
    bool reportedThisSecond_ = false;
};

// Faults found during the week, kept few and cheap: a message is made only for a fault.
class Faults {
  public:
    template <typename Describe>
    void expect(bool holds, const DateValue& when, Describe describe) {
        if (!holds && list_.size() < kKept) {
            list_.append(when.toDateTime().toString(Qt::ISODate) + QStringLiteral(": ") +
                         describe());
        }
    }
    bool tooMany() const { return list_.size() >= kKept; }
    QString text() const { return list_.join(QLatin1Char('\n')); }
    bool none() const { return list_.isEmpty(); }

  private:
    static constexpr int kKept = 20;
    QStringList list_;
};

struct WeekCounts {
    int launches = 0;
    int renewals = 0;
    int alerts = 0;
    int suspends = 0;
    int resumes = 0;
    int refreshes = 0;
    int logTrims = 0;
};

// Watches the Monitor second by second and checks each tick as it happens: the relaunch after
// every stop, the renewals, the schedule's commands, the settings refresh, the alerts and the
// log.
class WeekObserver {
  public:
    WeekObserver(TestEnvironment& t, frmMonitor& window, ScriptedCore& core, QString logPath)
        : t_(t),
          window_(window),
          core_(core),
          indicator_(window.findChild<QFrame*>(QStringLiteral("ErrorLogFrame"))),
          logPath_(std::move(logPath)),
          lastRefresh_(window.loopState().LastSettingsRefresh) {}

    QString control(QLatin1String name) const {
        return GetRegValue(*t_.ctx, t_.ctx->controlsSection, name, QStringLiteral("0"));
    }
    bool indicatorUp() const { return indicator_->isVisibleTo(&window_); }
    // A stop whose relaunch has not come yet.
    bool relaunchPending() const { return pendingStop_.has_value(); }

    // What the tick of this second will find.
    void beforeTick() {
        now_ = t_.clock.now();
        commandBefore_ = control(value::kCommand);
        const bool suspended = control(value::kState) == state::kSuspended;
        if (pendingStop_ && secondsBetween(*pendingStop_, now_) == kRelaunchSeconds) {
            suspendedWhenDue_ = suspended;
        }
        if (wasSuspended_ && !suspended) {
            resumedAt_ = now_;
        }
        wasSuspended_ = suspended;
        suspendedSinceRefresh_ = suspendedSinceRefresh_ || suspended;
        abortsSinceRefresh_ += core_.abortedThisSecond() ? 1 : 0;
    }

    // What the tick did.
    void afterTick() {
        const MonitorLoopView loop = window_.loopState();
        commandAfter_ = control(value::kCommand);
        watchStops(loop);
        watchStarts();
        watchSchedule();
        watchRefresh(loop);
    }

    void checkLog() {
        const qint64 size = QFileInfo(logPath_).size();
        expect(size <= static_cast<qint64>(kLogLimitMegabytes * 1024 * 1024),
               [&] { return QStringLiteral("log of %1 bytes").arg(size); });
        counts.logTrims += size < logSize_ ? 1 : 0;
        logSize_ = size;
        expect(t_.boxes.shown().empty(), [&] {
            return QStringLiteral("message box: ") + t_.boxes.texts().join(QLatin1Char('|'));
        });
    }

    void checkNoErrorLogged() {
        QFile file(logPath_);
        expect(file.open(QIODevice::ReadOnly) && !file.readAll().contains("  ERROR  "),
               [] { return QStringLiteral("an error was logged"); });
    }

    template <typename Describe>
    void expect(bool holds, Describe describe) {
        faults.expect(holds, now_, describe);
    }

    WeekCounts counts;
    Faults faults;

  private:
    // Aborts are counted once each; renewals come AutoCloseMonitorMinutes after the launch.
    void watchStops(const MonitorLoopView& loop) {
        bool stopped = false;
        if (core_.abortedThisSecond()) {
            expect(loop.AbortCount == core_.aborts(), [&] {
                return QStringLiteral("AbortCount %1 after abort %2")
                    .arg(loop.AbortCount)
                    .arg(core_.aborts());
            });
            stopped = true;
        }
        if (commandAfter_ == QLatin1String(command::kRenew) && commandBefore_ != commandAfter_) {
            ++counts.renewals;
            const std::int64_t age = secondsBetween(lastLaunch_, now_);
            expect(age > kRenewSeconds && age <= kRenewSeconds + 60,
                   [&] { return QStringLiteral("renewed %1 s after launch").arg(age); });
            stopped = true;
        }
        if (stopped) {
            expect(!pendingStop_, [] { return QStringLiteral("a stop while one was pending"); });
            pendingStop_ = now_;
        }
        // A stop that nobody relaunches shows as a core application gone for more than its
        // minute outside the suspended nights.
        expect(!pendingStop_ || suspendedWhenDue_ ||
                   secondsBetween(*pendingStop_, now_) <= kRelaunchSeconds + 2,
               [] { return QStringLiteral("no relaunch after a stop"); });
    }

    // Launches: the first Start, then one per stop a minute later, or at the resume when the
    // core application was suspended then. Alerts: one batch per error raised.
    void watchStarts() {
        const QTime time = now_.time();
        bool alerted = false;
        for (const FakeLauncher::Start& start : t_.launcher.starts) {
            if (start.program.endsWith(QStringLiteral("/HvxMonCore"))) {
                if (counts.launches > 0) {
                    const std::int64_t gap =
                        pendingStop_ ? secondsBetween(*pendingStop_, now_) : -1;
                    const bool onTime = gap >= kRelaunchSeconds && gap <= kRelaunchSeconds + 2;
                    const bool atResume = suspendedWhenDue_ && time == kResumeAt;
                    expect(pendingStop_ && (onTime || atResume),
                           [&] { return QStringLiteral("launched %1 s after its stop").arg(gap); });
                }
                pendingStop_.reset();
                suspendedWhenDue_ = false;
                lastLaunch_ = now_;
                ++counts.launches;
                core_.started();
            } else if (start.program.endsWith(QStringLiteral("/hvx-net-send"))) {
                ++counts.alerts;
                alerted = true;
                expect(core_.reportedThisSecond() &&
                           start.arguments == QStringList{kAlertDestination, kAlertMessage},
                       [] { return QStringLiteral("an alert out of turn"); });
            } else {
                expect(false, [&] { return QStringLiteral("started ") + start.program; });
            }
        }
        t_.launcher.starts.clear();
        if (core_.reportedThisSecond()) {
            expect(indicatorUp() && alerted,
                   [] { return QStringLiteral("an error raised no indicator"); });
        }
        if (time == kClearAt) {
            expect(!indicatorUp() && control(value::kErrorInfo).isEmpty(),
                   [] { return QStringLiteral("the error warning stayed up"); });
        }
    }

    // The scheduled hours: their two commands, each at its minute and only then.
    void watchSchedule() {
        const QTime time = now_.time();
        if (time == kSuspendAt || time == kResumeAt) {
            const bool suspending = time == kSuspendAt;
            expect(commandAfter_ == (suspending ? command::kSuspend : command::kResume),
                   [&] { return QStringLiteral("Command %1 at the flip").arg(commandAfter_); });
            (suspending ? counts.suspends : counts.resumes) += 1;
        } else if (commandAfter_ != commandBefore_) {
            expect(commandAfter_ != command::kSuspend && commandAfter_ != command::kResume, [&] {
                return QStringLiteral("Command %1 off the schedule").arg(commandAfter_);
            });
        }
    }

    // The settings refresh: every one to two minutes while not suspended, a tick later for
    // each abort in between, and at once after a resume.
    void watchRefresh(const MonitorLoopView& loop) {
        if (loop.LastSettingsRefresh == lastRefresh_) {
            return;
        }
        ++counts.refreshes;
        const DateValue previous = lastRefresh_;
        lastRefresh_ = loop.LastSettingsRefresh;
        expect(lastRefresh_ == now_,
               [] { return QStringLiteral("a refresh stamped off its tick"); });
        if (counts.refreshes > 1) {
            const std::int64_t gap = secondsBetween(previous, now_);
            expect(gap > 60 && (suspendedSinceRefresh_ || gap <= 120 + abortsSinceRefresh_),
                   [&] { return QStringLiteral("settings refreshed after %1 s").arg(gap); });
        }
        if (resumedAt_) {
            expect(secondsBetween(*resumedAt_, now_) <= 1,
                   [] { return QStringLiteral("the refresh lagged behind the resume"); });
            resumedAt_.reset();
        }
        abortsSinceRefresh_ = 0;
        suspendedSinceRefresh_ = false;
    }

    TestEnvironment& t_;
    frmMonitor& window_;
    ScriptedCore& core_;
    QFrame* indicator_;
    QString logPath_;
    DateValue now_{};
    QString commandBefore_;
    QString commandAfter_;
    DateValue lastLaunch_{};
    std::optional<DateValue> pendingStop_;
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
        ctx.applicationTitle = kTitle;
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
        QVERIFY(ctx.traceOn);
        window.cmdCommand_Click();
        QVERIFY(window.loopState().timerEnabled);
        QVERIFY(window.findChild<QFrame*>(QStringLiteral("ErrorLogFrame")) != nullptr);

        ScriptedCore core(t);
        WeekObserver week(t, window, core, logPath);
        int clears = 0;
        qint64 memoryAfterFirstDay = -1;
        QElapsedTimer wall;
        wall.start();
        int ticks = 0;
        for (; ticks < kWeekSeconds && !week.faults.tooMany(); ++ticks) {
            t.clock.advanceSeconds(1);
            core.live();
            if (t.clock.now().time() == kClearAt) {
                week.expect(week.control(value::kState) == state::kSuspended,
                            [] { return QStringLiteral("not suspended at the nightly clear"); });
                window.mnuClearErrorWarning_Click();
                ++clears;
            }
            week.beforeTick();
            window.Timer1_Timer();
            // The window's own events, but never the timer's: the clock drives the ticks.
            QCoreApplication::sendPostedEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            week.afterTick();
            if (ticks % 3600 == 0) {
                week.checkLog();
            }
            if (ticks % (6 * 3600) == 0) {
                week.checkNoErrorLogged();
            }
            if (ticks + 1 == kDaySeconds) {
                memoryAfterFirstDay = residentBytes();
            }
        }
        const qint64 memoryGrowth = residentBytes() - memoryAfterFirstDay;
        const MonitorLoopView loop = window.loopState();
        const WeekCounts& counts = week.counts;

        qInfo(
            "week: %d ticks in %.1f s wall time; %d aborts, %d renewals, %d launches "
            "(%d relaunches), %d suspends, %d resumes, %d settings refreshes, %d alerts, "
            "%d clears, %d log trims seen; resident memory grew %lld bytes after day 1%s",
            ticks, static_cast<double>(wall.elapsed()) / 1000.0, core.aborts(), counts.renewals,
            counts.launches, counts.launches - 1, counts.suspends, counts.resumes, counts.refreshes,
            counts.alerts, clears, counts.logTrims, static_cast<long long>(memoryGrowth),
            kAddressSanitizer ? " (not checked under AddressSanitizer)" : "");

        QVERIFY2(week.faults.none(), qPrintable(week.faults.text()));
        QCOMPARE(ticks, kWeekSeconds);
        QVERIFY(!core.startedWhileUp());
        QCOMPARE(core.aborts(), kAborts);
        QCOMPARE(loop.AbortCount, kAborts);
        QVERIFY(loop.timerEnabled);
        QCOMPARE(counts.launches, 1 + kAborts + counts.renewals - (week.relaunchPending() ? 1 : 0));
        QVERIFY(counts.renewals >= 7);
        QCOMPARE(counts.suspends, 7);
        QCOMPARE(counts.resumes, 7);
        QCOMPARE(counts.alerts, 7);
        QCOMPARE(clears, 7);
        QVERIFY(counts.logTrims >= 1);
        QVERIFY(t.boxes.shown().empty());

        // Still written at the end: its last line is from the last few minutes.
        QFile file(logPath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray last = file.readAll().trimmed().split('\n').last();
        const QDateTime stamped = QDateTime::fromString(QString::fromUtf8(last.left(19)),
                                                        QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        QVERIFY2(stamped.isValid(), last.constData());
        QVERIFY(secondsBetween(DateValue::fromDateTime(stamped), t.clock.now()) <= 180);

        if (!kAddressSanitizer) {
            QVERIFY(memoryAfterFirstDay > 0);
            QVERIFY2(memoryGrowth < kMemoryGrowthLimit,
                     qPrintable(QStringLiteral("grew %1 bytes").arg(memoryGrowth)));
        }
    }
};

QTEST_MAIN(TestSimulatedWeek)
#include "TestSimulatedWeek.moc"
