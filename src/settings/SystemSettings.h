#pragma once

#include "cAppSettings.h"

#include <QString>

#include <cstdint>
#include <memory>

namespace hvx {

struct AppContext;

// The system settings the Monitor keeps between loads. Everything starts at 0 or false; a
// load that fails part-way leaves the values before the failing row new and the rest old.
struct SystemSettings {
    // Replaced by every load; null until the first.
    std::shared_ptr<cAppSettings> collection;
    std::int32_t AutoCloseMonitorMinutes = 0;
    bool UseSLAs = false;
    std::int32_t MonitorCnnTolerance = 0;
    std::int32_t MonitorStopMinutes = 0;
    std::int32_t MonitorStartMinutes = 0;
    bool ScheduledHoursOn = false;
};

// Loads the Settings table afresh, keeps the Monitor's own values and writes the core
// application's values into the Controls section, each right after its row was read.
// True when every row was read and every value stored and written.
bool LoadSystemSettings(AppContext& ctx, SystemSettings& settings);

// A minute of the day as "hh:mm"; beyond 1440 it wraps, so 1440 is "24:00" and 1500 "01:00".
QString MinutesToHHMM(AppContext& ctx, std::int32_t minutes);

}  // namespace hvx
