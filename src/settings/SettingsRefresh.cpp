#include "SettingsRefresh.h"

#include "SystemSettings.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"

namespace hvx {

int RefreshSystemSettings(AppContext& ctx, SystemSettings& settings, DateValue& lastSettingsRefresh,
                          const StatusBarWriter& statusBar) {
    int result = 0;
    RunTrapped(ctx, code::kRefreshSystemSettings, [&] {
        if (isCode(GetRegValue(ctx, ctx.controlsSection, value::kState, defaults::kState),
                   state::kSuspended)) {
            result = 1;
            return;
        }
        const DateValue now = required(ctx.env.clock).now();
        if (minutesBetween(lastSettingsRefresh, now) <= 1) {
            result = 1;
            return;
        }
        const QString dbIssues = GetRegValue(ctx, ctx.controlsSection, value::kCoreHasDBIssues,
                                             defaults::kCoreHasDBIssues);
        // Reading the store changed the code in force; a bad value is this procedure's error.
        ctx.procedureCode = code::kRefreshSystemSettings;
        if (toBoolean(dbIssues)) {
            return;
        }
        lastSettingsRefresh = now;
        statusBar(QStringLiteral("Refreshing System Settings..."), 2);
        if (!required(ctx.databaseManager.get()).OpenConnection(false)) {
            WriteTrace(ctx, QStringLiteral("Database connection failed when refreshing the System "
                                           "Settings."));
        } else if (LoadSystemSettings(ctx, settings)) {
            result = 1;
        }
        ctx.procedureCode = code::kRefreshSystemSettings;
        if (ctx.databaseManager) {
            ctx.databaseManager->CloseConnection(true);
        }
        statusBar(QString(), 2);
    });
    return result;
}

bool IsOutsideScheduledHours(AppContext& ctx, int stopMinutes, int startMinutes) {
    bool outside = false;
    RunTrapped(ctx, code::kIsOutsideScheduledHours, [&] {
        const int now = required(ctx.env.clock).now().minuteOfDay();
        if (stopMinutes < startMinutes) {
            outside = stopMinutes <= now && now < startMinutes;
        } else if (stopMinutes > startMinutes) {
            outside = now > stopMinutes || now <= startMinutes;
        }
    });
    return outside;
}

}  // namespace hvx
