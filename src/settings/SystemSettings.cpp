#include "SystemSettings.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Conversions.h"

#include <QStringList>

#include <cstdlib>

namespace hvx {

namespace {

QString word(bool value) {
    return value ? QStringLiteral("True") : QStringLiteral("False");
}

}  // namespace

QString MinutesToHHMM(AppContext& ctx, std::int32_t minutes) {
    ctx.procedureCode = code::kMinutesToHHMM;
    if (minutes > 1440) {
        minutes %= 1440;
    }
    // At least two digits in each part, a minus sign before them: -5 gives 00:-05, -90 -01:-30.
    const auto part = [](std::int64_t value) {
        return (value < 0 ? QStringLiteral("-") : QString()) +
               QStringLiteral("%1").arg(value < 0 ? -value : value, 2, 10, QLatin1Char('0'));
    };
    const std::int64_t wide = minutes;
    return part(wide / 60) + QLatin1Char(':') + part(wide % 60);
}

bool LoadSystemSettings(AppContext& ctx, SystemSettings& settings) {
    bool loaded = false;
    RunTrapped(ctx, code::kLoadSystemSettings, [&] {
        settings.collection = std::make_shared<cAppSettings>(ctx);
        if (!settings.collection->Find()) {
            return;
        }
        const cAppSettings& rows = *settings.collection;
        const auto text = [&](const char* name) {
            return rows.Item(QString::fromLatin1(name))->SettingValue().toString();
        };
        const auto controls = [&](QLatin1String name, const QString& value) {
            SaveRegValue(ctx, ctx.controlsSection, name, value);
            // The store procedures keep their own code; errors after them belong to the load.
            ctx.procedureCode = code::kLoadSystemSettings;
        };

        settings.AutoCloseMonitorMinutes = toWholeNumber(text("AutoCloseMonitorMinutes"));
        settings.UseSLAs = toBoolean(text("UseSLA"));
        controls(value::kUseSLAs, QString::number(std::abs(settings.UseSLAs ? -1 : 0)));
        controls(value::kRecreateObjects, text("RecreateMonitorObjectsEveryTime"));
        controls(value::kLogFileSize, text("MonitorLogFileLimit"));
        controls(value::kSLACheckInterval, text("SLACheckIntervalMinutes"));
        controls(value::kEmailSendInterval, text("EmailSendIntervalMinutes"));
        controls(value::kEmailReadInterval, text("EmailReadIntervalMinutes"));
        controls(value::kMonitorTicks, text("MonitorTicks"));
        settings.MonitorCnnTolerance = toWholeNumber(text("MonitorCnnTolerance"));
        controls(value::kCnnTolerance, QString::number(settings.MonitorCnnTolerance));
        settings.MonitorStopMinutes = toWholeNumber(text("MonitorStopMinutes"));
        settings.MonitorStartMinutes = toWholeNumber(text("MonitorStartMinutes"));
        settings.ScheduledHoursOn = settings.MonitorStopMinutes != settings.MonitorStartMinutes;

        if (ctx.traceOn) {
            const QStringList fields{
                QString::number(settings.AutoCloseMonitorMinutes),
                word(settings.UseSLAs),
                text("RecreateMonitorObjectsEveryTime"),
                text("MonitorLogFileLimit"),
                text("AutoStartMonitor"),
                text("SLACheckIntervalMinutes"),
                text("EmailSendIntervalMinutes"),
                text("EmailReadIntervalMinutes"),
                text("MonitorTicks"),
                text("MonitorCnnTolerance"),
                MinutesToHHMM(ctx, settings.MonitorStopMinutes),
                MinutesToHHMM(ctx, settings.MonitorStartMinutes),
                word(settings.ScheduledHoursOn),
            };
            ctx.procedureCode = code::kLoadSystemSettings;
            WriteTrace(ctx, QStringLiteral("Settings: ") + fields.join(QLatin1Char(',')));
        }
        loaded = true;
    });
    return loaded;
}

}  // namespace hvx
