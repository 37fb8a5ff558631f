#pragma once

#include <QString>

#include <functional>

namespace hvx {

struct AppContext;

// The commands on the log file and the error warning. `suspend` gives the Suspend command
// (the window's Start/Suspend/Resume action); the commands do not wait for it to be obeyed.
using SuspendAction = std::function<void()>;

void ViewLogFile(AppContext& ctx, const SuspendAction& suspend);
void SendLogFile(AppContext& ctx, const SuspendAction& suspend);
void ClearLogFile(AppContext& ctx);
// True when the warning was cleared (ErrorInfo emptied); the window then takes the indicator
// down. While the core application runs it only offers to suspend.
bool ClearErrorWarning(AppContext& ctx, const SuspendAction& suspend);

}  // namespace hvx
