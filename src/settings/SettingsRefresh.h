#pragma once

#include "platform/DateValue.h"

#include <QString>

#include <functional>

namespace hvx {

struct AppContext;
struct SystemSettings;

// Shows a progress text in a panel of the main window's status bar.
using StatusBarWriter = std::function<void(const QString& text, int panel)>;

// Reloads the system settings when the minute has changed more than once since the last
// attempt: 1 when the settings are current (reloaded now, not due, or the core application is
// suspended), 0 when a due reload was refused (the core application reports database trouble)
// or failed. The database is open only for the reload.
int RefreshSystemSettings(AppContext& ctx, SystemSettings& settings, DateValue& lastSettingsRefresh,
                          const StatusBarWriter& statusBar);

// Whether the present minute of the day lies outside the scheduled hours that end at
// `stopMinutes` and begin at `startMinutes`. Equal values mean no scheduled stop.
bool IsOutsideScheduledHours(AppContext& ctx, int stopMinutes, int startMinutes);

}  // namespace hvx
