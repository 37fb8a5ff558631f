// The Monitor's ticks while another writer holds the help-desk database: an sqlite3 process
// keeps an exclusive transaction open for SECONDS (default 30) while the real main window ticks
// against that database. The clock is moved two minutes on before every tick, so that every
// tick is due for a settings refresh and meets the lock. The figure is the longest tick: each
// must give up after the one-second lock wait and take the refresh's failure path.
//
//   bench_locked_database [SECONDS]
//
// Exit status 1 when a tick took longer than the target, when a tick did not meet the lock
// (no failed refresh), or when the refresh does not succeed again once the lock is gone.

#include "BenchStats.h"
#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QApplication>
#include <QFile>
#include <QProcess>

#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace hvx;
using namespace hvx::bench;
using namespace hvx::test;

namespace {

constexpr double kTargetMilliseconds = 1200.0;
constexpr int kWaitMs = 10'000;
const QString kCoreCaption = QStringLiteral("Help Desk Monitor Timer");
// The tick's trace when the settings refresh failed.
const QString kRefreshFailed = QStringLiteral("MGS=0;");

void control(TestEnvironment& t, const char* name, const char* value) {
    SaveRegValue(*t.ctx, t.ctx->controlsSection, QString::fromLatin1(name),
                 QString::fromLatin1(value));
}

// An sqlite3 shell holding an exclusive write transaction on the database until released.
class LockHolder {
  public:
    explicit LockHolder(const QString& database) {
        shell_.start(QStringLiteral("sqlite3"), {database});
        shell_.write(
            "BEGIN EXCLUSIVE;\nUPDATE Settings SET SettingValue = SettingValue;\n"
            ".print locked\n");
        QByteArray said;
        while (!said.contains("locked") && shell_.waitForReadyRead(kWaitMs)) {
            said += shell_.readAllStandardOutput();
        }
        held_ = said.contains("locked");
    }
    ~LockHolder() { release(); }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    bool held() const { return held_ && shell_.state() == QProcess::Running; }
    void release() {
        if (shell_.state() == QProcess::Running) {
            shell_.write("COMMIT;\n.quit\n");
            if (!shell_.waitForFinished(kWaitMs)) {
                shell_.kill();
                shell_.waitForFinished(kWaitMs);
            }
        }
    }

  private:
    QProcess shell_;
    bool held_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const double seconds = argc > 1 ? std::atof(argv[1]) : 30.0;
    if (seconds <= 0.0) {
        std::fprintf(stderr, "usage: bench_locked_database [SECONDS]\n");
        return 2;
    }

    TestEnvironment t;
    HelpDeskFixture db(t);
    t.ctx->applicationTitle = QStringLiteral("Help Desk Monitor");
    t.ctx->coreWindowCaption = kCoreCaption;
    // The core application runs and is idle: the tick's only database work is the refresh.
    t.windows.open.insert(kCoreCaption);
    control(t, "State", "1");
    control(t, "Processing", "0");
    SystemSettings settings;
    frmMonitor window(*t.ctx, settings, MonitorLoopState{.LastSettingsRefresh = t.clock.now()});
    window.show();
    QApplication::processEvents();

    LockHolder lock(db.scratch.file());
    if (!lock.held()) {
        std::fprintf(stderr, "bench_locked_database: sqlite3 could not lock the database\n");
        return 1;
    }
    std::vector<double> ticks;
    int missedTheLock = 0;
    const auto start = SteadyClock::now();
    while (microsecondsBetween(start, SteadyClock::now()) < seconds * 1e6 && lock.held()) {
        t.clock.advanceSeconds(120);
        const auto before = SteadyClock::now();
        window.Timer1_Timer();
        ticks.push_back(microsecondsBetween(before, SteadyClock::now()) / 1000.0);
        missedTheLock += window.loopState().tickTrace.contains(kRefreshFailed) ? 0 : 1;
        QApplication::processEvents();
    }
    const bool heldThroughout = lock.held();
    lock.release();
    t.clock.advanceSeconds(120);
    window.Timer1_Timer();
    const bool refreshedAfter = !window.loopState().tickTrace.contains(kRefreshFailed);

    std::printf("lock held for %.1f s: %zu ticks, median %.0f ms, longest %.0f ms\n",
                microsecondsBetween(start, SteadyClock::now()) / 1e6, ticks.size(), median(ticks),
                maximum(ticks));
    std::printf("ticks that did not meet the lock: %d; refresh after the release: %s\n",
                missedTheLock, refreshedAfter ? "succeeded" : "FAILED");
    const bool met = verdict("bench_locked_database", "longest tick while the database is locked",
                             maximum(ticks), kTargetMilliseconds, "ms");
    return met && heldThroughout && !ticks.empty() && missedTheLock == 0 && refreshedAfter ? 0 : 1;
}
