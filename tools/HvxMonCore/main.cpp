// HvxMonCore: the stand-in core application. It does what the Monitor expects of the core
// application over the control channel, with real (small) work on the help-desk database,
// and misbehaves on request through HVX_CORE_FAULT so that the Monitor's handling of a faulty
// core application can be tried.

#include "CoreApplication.h"
#include "CoreDatabase.h"
#include "CoreFaults.h"
#include "channel/AppContext.h"
#include "components/BuiltInStringTable.h"
#include "components/SqliteRegistryStore.h"
#include "platform/posix/SessionSignals.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "platform/posix/SystemClock.h"

#include <QApplication>

#include <csignal>

#include <cstdio>

namespace {

constexpr int kExitUsage = 2;

const char kUsage[] =
    "usage: HvxMonCore [INSTANCE]\n"
    "\n"
    "The Monitor's core application (a stand-in). Without INSTANCE it uses the Controls\n"
    "section and the database of db.ini beside it; with INSTANCE the section\n"
    "Controls:INSTANCE and the db.ini in its DBINIPath. Its window is captioned with the\n"
    "Monitor's title and \" Timer\"; it ends on the Monitor's close command, SIGTERM or SIGINT,\n"
    "and with exit code 4 when the store has been unusable for 30 seconds in a row.\n"
    "\n"
    "HVX_SHOW_WINDOW=minimized-noactivate  start minimized\n"
    "HVX_CORE_FAULT=LIST                   comma-separated faults: abort-after:N (State 999,\n"
    "    exit code 3), no-window, slow-start:N, ignore-commands, error-after:N (ErrorInfo),\n"
    "    db-issues (CoreHasDBIssues 1); N in seconds\n";

}  // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("HvxMonCore"));
    // The window is closed by the program itself, after it withdrew the caption.
    QApplication::setQuitOnLastWindowClosed(false);

    const QStringList arguments = QApplication::arguments().mid(1);
    if (arguments.size() == 1 &&
        (arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h"))) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (arguments.size() > 1) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const QString instance = arguments.value(0);

    QStringList problems;
    const hvx::CoreFaults faults =
        hvx::CoreFaults::parse(qEnvironmentVariable("HVX_CORE_FAULT"), problems);
    for (const QString& problem : problems) {
        std::fprintf(stderr, "HvxMonCore: HVX_CORE_FAULT %s\n", qPrintable(problem));
    }

    const hvx::BuiltInStringTable strings;
    hvx::Environment environment;
    environment.registryStore =
        hvx::SqliteRegistryStore::factory(hvx::SqliteRegistryStore::defaultPath());
    environment.applicationFolder = QApplication::applicationDirPath();
    hvx::AppContext ctx(environment);
    ctx.registryBasePath = strings.LoadString(hvx::StringTable::kRegistryBasePath);
    ctx.multiInstance = !instance.isEmpty();
    ctx.instanceName = instance;
    ctx.controlsSection = hvx::instanceSection(hvx::section::kControls, instance);
    ctx.optionsSection = hvx::instanceSection(hvx::section::kOptions, instance);

    hvx::CoreDatabase database(ctx, environment.applicationFolder);
    // The Monitor's own title, so that it finds this window by the caption it expects.
    if (ctx.multiInstance) {
        ctx.applicationTitle = instance + QStringLiteral(" Monitor");
    } else {
        ctx.applicationTitle = database.shortMonitorName().value_or(
            strings.LoadString(hvx::StringTable::kApplicationTitle));
    }

    hvx::CoreApplication::Setup setup;
    setup.caption = ctx.applicationTitle + QStringLiteral(" Timer");
    setup.minimized = qgetenv("HVX_SHOW_WINDOW") == hvx::SpawnProcessLauncher::showWindowValue(
                                                        hvx::WindowStyle::MinimizedNoActivate);
    setup.faults = faults;

    hvx::SocketWindowDirectory windows;
    hvx::SystemClock clock;
    hvx::CoreApplication core(ctx, database, windows, clock, setup);
    hvx::SessionSignals quitSignals({SIGTERM, SIGINT});
    QObject::connect(&quitSignals, &hvx::SessionSignals::received, &core,
                     [&core] { core.finish(0); });
    // Queued: a close command found by the very first tick must still end the event loop,
    // which only runs after start().
    QObject::connect(&core, &hvx::CoreApplication::finished, &application, &QApplication::exit,
                     Qt::QueuedConnection);
    core.start();
    return QApplication::exec();
}
