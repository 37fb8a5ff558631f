#include "Driver.h"

#include "DatabaseConnection.h"
#include "MonitorLogin.h"
#include "MonitorNames.h"
#include "ProductStrings.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"
#include "settings/SystemSettings.h"

namespace hvx {

namespace {

// The error the platform raises when a start is cancelled; it is not worth a report.
constexpr long kCancelledError = 32755;
constexpr std::int64_t kSplashMinimumMilliseconds = 2000;

struct MainRun {
    AppContext& ctx;
    SystemSettings& settings;
    std::unique_ptr<Splash> splash;
    LoginStatus status = LoginStatus::Refused;
    // Set once the Controls section is this copy's to clear.
    bool ownsControls = false;

    void readStopSwitches() {
        const auto stop = [&](QLatin1String name) {
            return toBoolean(GetRegValue(ctx, ctx.optionsSection, name, defaults::kStopSwitch));
        };
        ctx.stop.readingEmail = stop(value::kStopReadingEmail);
        ctx.stop.sendingEmail = stop(value::kStopSendingEmail);
        ctx.stop.processingSLAs = stop(value::kStopProcessingSLAs);
        ctx.stop.onHold = stop(value::kStopOnHold);
        ctx.stop.archiving = stop(value::kStopArchiving);
    }

    void applyLogFileLimit() {
        try {
            const double limit =
                toDouble(settings.collection->Item(QStringLiteral("MonitorLogFileLimit"))
                             ->SettingValue()
                             .toString());
            if (limit >= 0.1 && limit < 1000) {
                ctx.errorManager->SetLogFileLimit(limit);
            }
        } catch (...) {
            // A missing or unreadable limit leaves the error manager's own in force.
        }
    }

    // Measured in milliseconds: whole seconds would keep the splash up for up to three.
    void waitForSplashMinimum(std::int64_t startMilliseconds) {
        const Clock& clock = required(ctx.env.clock);
        UserInterface* ui = ctx.env.userInterface;
        while (clock.milliseconds() - startMilliseconds <= kSplashMinimumMilliseconds) {
            if (ui != nullptr) {
                ui->waitForEvents(20);
            }
        }
    }

    // Steps up to showing the main window. False sends the caller to the failure exit; the
    // failures that go straight to the final exit return true.
    bool startUp(const std::function<void()>& showMainWindow) {
        ctx.dateFormat = QStringLiteral("dd-mmm-yyyy");
        ctx.dateTimeFormat = QStringLiteral("dd-mmm-yyyy hh:nn");
        ctx.stringTable = create(ctx.env.stringTable, "HvxStrings.Strings");
        ctx.termContext = GetStringResource(ctx, StringTable::kTermContext);
        ctx.applicationTitle = GetStringResource(ctx, StringTable::kApplicationTitle);
        ctx.localFolderRegistryPath = GetStringResource(ctx, StringTable::kLocalFolderRegistryPath);
        ctx.registryBasePath = GetStringResource(ctx, StringTable::kRegistryBasePath);

        if (isMonitorNamesFile(ctx.env.applicationFolder + QLatin1Char('/') +
                               QLatin1String(kMonitorNamesFile))) {
            if (!SelectMonitorInstance(ctx)) {
                return false;
            }
            ctx.multiInstance = true;
        }

        if (ctx.multiInstance) {
            // The instance dialog has refused an instance whose Monitor already runs.
            ctx.controlsSection = instanceSection(section::kControls, ctx.instanceName);
            ctx.optionsSection = instanceSection(section::kOptions, ctx.instanceName);
            ownsControls = true;
            DeleteRegSection(ctx, ctx.controlsSection);
            SaveRegValue(ctx, ctx.controlsSection, value::kDBINIPath, ctx.instanceDbIniFolder);
            ctx.applicationTitle = ctx.instanceName + QStringLiteral(" Monitor");
        } else {
            ctx.controlsSection = QString(section::kControls);
            ctx.optionsSection = QString(section::kOptions);
            // A running copy owns the Controls section: ask before clearing it.
            if (required(ctx.env.instanceGuard).anotherCopyRunning()) {
                tellOperator(
                    ctx,
                    ctx.applicationTitle + QStringLiteral(" is already running on this computer"),
                    MessageIcon::Information);
                return false;
            }
            ownsControls = true;
            DeleteRegSection(ctx, ctx.controlsSection);
        }

        ctx.procedureCode = code::kMainErrorManager;
        ctx.errorManager = create(ctx.env.errorManager, "ErrorManager");
        ctx.errorManager->SetStartupComplete(false);
        ctx.errorManager->SetEnabled(true);

        const std::int64_t start = required(ctx.env.clock).milliseconds();
        splash = create(ctx.env.splash, "HvxSplash.Splash");
        splash->ShowSplash(1);
        if (ctx.env.userInterface != nullptr) {
            ctx.env.userInterface->processEvents();
        }

        ctx.termTranslator = create(ctx.env.termTranslator, "TermTranslator");
        ctx.sqlValueFormatter = create(ctx.env.sqlValueFormatter, "SqlValueFormatter");
        ctx.sqlStringFormatter = create(ctx.env.sqlStringFormatter, "SqlStringFormatter");

        if (!ConnectDatabase(ctx, settings, status)) {
            ctx.databaseManager.reset();
            return true;
        }
        if (!ctx.multiInstance) {
            ctx.applicationTitle = ctx.shortProductName;
        }
        if (!GetLocalFolderPath(ctx)) {
            return true;
        }
        applyLogFileLimit();
        ctx.errorManager->SetLogFile(ctx.localFolder + QStringLiteral("/monitorlog.txt"));

        ctx.procedureCode = code::kMainStopSwitches;
        readStopSwitches();

        ctx.procedureCode = code::kMainSplashMinimum;
        waitForSplashMinimum(start);
        splash->CloseSplash();

        ctx.procedureCode = code::kMainCoreCaption;
        ctx.coreWindowCaption = ctx.applicationTitle + QStringLiteral(" Timer");

        ctx.procedureCode = code::kMainStartupComplete;
        ctx.errorManager->SetStartupComplete(true);

        if (ctx.databaseManager) {
            ctx.databaseManager->SetStartupComplete(true);
            ctx.databaseManager->CloseConnection(true);
            showMainWindow();
            shown = true;
        }
        return true;
    }

    void failureExit() {
        try {
            if (ctx.databaseManager && status != LoginStatus::HeldElsewhere) {
                LogoutMonitor(ctx);
            }
            if (ownsControls) {
                DeleteRegSection(ctx, ctx.controlsSection);
            }
        } catch (...) {
            // Straight on to the final exit.
        }
    }

    void finalExit() {
        try {
            if (splash) {
                splash->CloseSplash();
                splash.reset();
            }
            if (ctx.databaseManager) {
                ctx.databaseManager->CloseConnection(true);
            }
        } catch (...) {
            // Nothing more can be done on the way out.
        }
    }

    bool shown = false;
};

}  // namespace

bool Main(AppContext& ctx, SystemSettings& settings, const std::function<void()>& showMainWindow) {
    MainRun run{ctx, settings, nullptr};
    ctx.procedureCode = code::kMain;
    bool failed = false;
    try {
        failed = !run.startUp(showMainWindow);
    } catch (...) {
        const RuntimeError error = asRuntimeError(std::current_exception());
        if (error.number() != kCancelledError) {
            ReportError(ctx, error);
        }
        failed = true;
    }
    if (failed) {
        run.failureExit();
    }
    run.finalExit();
    return run.shown;
}

}  // namespace hvx
