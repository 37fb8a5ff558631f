// One steady-state tick of the Monitor's window: the core application runs (its window caption
// is announced by this process through the real window directory), State "1", Processing "0",
// nothing changes, and the settings are not due for a refresh. The real per-user store (SQLite
// in a temporary file), the real window lookup and error manager; the window is shown on the
// offscreen platform, as the program shows it. The figure is the median time of one
// Timer1_Timer call. Also printed: the window events that a tick leaves behind (run between
// ticks, outside the figure), the same tick with the window hidden, the channel's part alone
// (the store reads, sharing one read of the section as the tick does, and the window lookup),
// and the paints of the status panels: none while nothing changes, and one, within the tick,
// when the status changes.
//
//   bench_tick [TICKS]     (default 20,000 measured ticks after 500 to warm up)
//
// Exit status 1 when the target is missed or a tick did something other than the steady state
// (another trace, a message box, an error in the log, a wrong caption, a paint of an unchanged
// panel, or none of a changed one).

#include "BenchStats.h"
#include "channel/AppContext.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/FileErrorManager.h"
#include "components/SqliteRegistryStore.h"
#include "platform/Clock.h"
#include "platform/MessageBoxes.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "platform/posix/SystemClock.h"
#include "settings/SystemSettings.h"
#include "supervision/StatusPanel.h"
#include "supervision/frmMonitor.h"

#include <QApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <unistd.h>

using namespace hvx;
using namespace hvx::bench;

namespace {

constexpr double kTargetMicroseconds = 50.0;
constexpr int kWarmUp = 500;
const QString kTitle = QStringLiteral("Help Desk Monitor");
const QString kSteadyTrace = QStringLiteral("P=0;AR=1;");

// Nobody answers here: a box during the benchmark is a fault, counted and answered by default.
class CountingBoxes final : public MessageBoxes {
  public:
    MessageAnswer Show(const MessageBoxRequest& request) override {
        ++shown;
        std::fprintf(stderr, "message box: %s\n", qPrintable(request.text));
        return defaultAnswerOf(request);
    }
    int shown = 0;
};

// Reads the system clock as the program's does (the same cost) but answers the moment it was
// made, so that the settings refresh, due every minute or two, never falls into the figures.
class StillClock final : public Clock {
  public:
    DateValue now() const override {
        static_cast<void>(system_.now());
        return start_;
    }
    std::int64_t milliseconds() const override { return system_.milliseconds(); }

  private:
    SystemClock system_;
    DateValue start_ = system_.now();
};

// Counts the paint events that reach the status panels.
class PaintCounter final : public QObject {
  public:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
    int paints = 0;
};

struct Rig {
    Rig() {
        env.applicationFolder = dir.path();
        env.clock = &clock;
        env.messageBoxes = &boxes;
        env.windows = &windows;
        env.registryStore =
            SqliteRegistryStore::factory(dir.filePath(QStringLiteral("registry.sqlite3")));
        ctx.registryBasePath = BuiltInStringTable().LoadString(StringTable::kRegistryBasePath);
        ctx.applicationTitle = kTitle;
        ctx.coreWindowCaption = kTitle + QStringLiteral(" Timer");
        auto errors = std::make_unique<FileErrorManager>(clock, &boxes);
        errors->SetLogFile(logPath());
        errors->SetEnabled(true);
        errors->SetStartupComplete(true);
        ctx.errorManager = std::move(errors);

        // The channel as a running core application and a loaded Monitor leave it.
        const auto control = [&](const char* name, const char* value) {
            SaveRegValue(ctx, ctx.controlsSection, QString::fromLatin1(name),
                         QString::fromLatin1(value));
        };
        control("State", "1");
        control("Processing", "0");
        control("Command", "0");
        control("Status", "Idle: 3 requests processed, next run in 60 seconds");
        control("UserId", "Monitor");
        control("Pwd", "secret");
        control("UseSLAs", "1");
        control("RecreateObjects", "0");
        control("LogFileSize", "1");
        control("SLACheckInterval", "5");
        control("EmailSendInterval", "1");
        control("EmailReadInterval", "2");
        control("MonitorTicks", "60");
        control("CnnTolerance", "3");
        SaveRegValue(ctx, ctx.optionsSection, QStringLiteral("Trace"), QStringLiteral("0"));

        core = windows.announce(ctx.coreWindowCaption);
        window = std::make_unique<frmMonitor>(
            ctx, settings,
            MonitorLoopState{.MonitorStartTime = clock.now(), .LastSettingsRefresh = clock.now()});
        window->setWindowTitle(kTitle);
        for (int number = 1; number <= 3; ++number) {
            window->findChild<StatusPanel*>(QStringLiteral("StatusBar1Panel%1").arg(number))
                ->installEventFilter(&panelPaints);
        }
    }

    QString logPath() const { return dir.filePath(QStringLiteral("monitorlog.txt")); }

    // One tick; false when it was not the steady state.
    bool tick(std::vector<double>* samples) {
        const auto start = SteadyClock::now();
        window->Timer1_Timer();
        const auto end = SteadyClock::now();
        if (samples != nullptr) {
            samples->push_back(microsecondsBetween(start, end));
        }
        const MonitorLoopView loop = window->loopState();
        return loop.tickTrace == kSteadyTrace &&
               window->windowTitle() == kTitle + QStringLiteral(" (Running)") && loop.timerEnabled;
    }

    QTemporaryDir dir;
    StillClock clock;
    PaintCounter panelPaints;
    CountingBoxes boxes;
    SocketWindowDirectory windows;
    Environment env;
    AppContext ctx{env};
    SystemSettings settings;
    std::unique_ptr<CaptionAnnouncement> core;
    std::unique_ptr<frmMonitor> window;
};

// Ticks `count` times, running the window's events between ticks; answers the number of ticks
// that were not the steady state.
int run(Rig& rig, int count, std::vector<double>* ticks, std::vector<double>* events) {
    int wrong = 0;
    for (int i = 0; i < count; ++i) {
        wrong += rig.tick(ticks) ? 0 : 1;
        const auto start = SteadyClock::now();
        QCoreApplication::processEvents();
        if (events != nullptr) {
            events->push_back(microsecondsBetween(start, SteadyClock::now()));
        }
    }
    return wrong;
}

void describe(const char* what, const std::vector<double>& samples) {
    std::printf("%s: median %.2f us, 90th percentile %.2f us, 99th percentile %.2f us\n", what,
                median(samples), percentile(samples, 0.9), percentile(samples, 0.99));
}

}  // namespace

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // As the program runs: the local time zone read once (see app/main.cpp).
    if (qEnvironmentVariableIsEmpty("TZ")) {
        qputenv("TZ", ":/etc/localtime");
    }
    // A session of its own, so that no other Monitor or core application is seen or disturbed.
    qputenv("HVX_SESSION", QByteArray("bench-tick-") + QByteArray::number(getpid()));
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20'000;

    Rig rig;
    rig.window->show();
    QCoreApplication::processEvents();

    int wrong = run(rig, kWarmUp, nullptr, nullptr);
    rig.panelPaints.paints = 0;
    std::vector<double> shownTicks;
    std::vector<double> shownEvents;
    wrong += run(rig, count, &shownTicks, &shownEvents);
    const int steadyPaints = rig.panelPaints.paints;
    std::printf("%d ticks with the window shown (offscreen), trace \"%s\", caption \"%s\"\n", count,
                qPrintable(rig.window->loopState().tickTrace),
                qPrintable(rig.window->windowTitle()));
    describe("Timer1_Timer, window shown", shownTicks);
    describe("window events after a tick (not in the figure)", shownEvents);
    std::printf("status panel paints over those ticks and their events: %d\n", steadyPaints);

    // A changed status shows within the tick that reads it, before any window event runs.
    SaveRegValue(rig.ctx, rig.ctx.controlsSection, QStringLiteral("Status"),
                 QStringLiteral("Sending 2 messages"));
    wrong += rig.tick(nullptr) ? 0 : 1;
    const int changedPaints = rig.panelPaints.paints - steadyPaints;
    std::printf("status panel paints within the tick that changed the status: %d\n", changedPaints);
    QCoreApplication::processEvents();

    rig.window->hide();
    QCoreApplication::processEvents();
    std::vector<double> hiddenTicks;
    wrong += run(rig, kWarmUp, nullptr, nullptr);
    wrong += run(rig, count, &hiddenTicks, nullptr);
    describe("Timer1_Timer, window hidden (no painting)", hiddenTicks);

    // The channel's part of a tick: the store reads and the lookup that a steady tick makes,
    // with the section kept from tick to tick as the window keeps it.
    std::vector<double> channel;
    int lookupsFailed = 0;
    SectionSnapshot kept;
    for (int i = 0; i < count; ++i) {
        const auto start = SteadyClock::now();
        const SharedSectionReads shared(rig.ctx, rig.ctx.controlsSection, kept);
        for (const char* name :
             {"State", "Status", "ErrorInfo", "State", "Processing", "State", "State"}) {
            GetRegValue(rig.ctx, rig.ctx.controlsSection, QString::fromLatin1(name),
                        QStringLiteral("0"));
        }
        lookupsFailed += rig.windows.findWindow(rig.ctx.coreWindowCaption) ? 0 : 1;
        channel.push_back(microsecondsBetween(start, SteadyClock::now()));
    }
    describe("its 7 store reads and 1 window lookup alone", channel);

    QFile log(rig.logPath());
    const QByteArray logged = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    const bool sound = wrong == 0 && rig.boxes.shown == 0 && !logged.contains("ERROR") &&
                       lookupsFailed == 0 && steadyPaints == 0 && changedPaints == 1;
    if (!sound) {
        std::printf(
            "not the steady state: %d ticks differed, %d message boxes, %d lookups "
            "missed, %d paints of unchanged panels, %d of the changed one, log:\n%s\n",
            wrong, rig.boxes.shown, lookupsFailed, steadyPaints, changedPaints, logged.constData());
        std::printf("the figures do not count\n");
    }
    const bool met = verdict("bench_tick", "steady tick, window shown, median", median(shownTicks),
                             kTargetMicroseconds, "us");
    return met && sound ? 0 : 1;
}
