#pragma once

namespace hvx {

struct AppContext;
struct SystemSettings;

// Whether a close of the main window may go ahead: nothing is asked when the core
// application has aborted; while it is busy the operator is asked whether to exit anyway;
// otherwise the exit confirmation, unless the operator turned it off under "Warnings".
bool ConfirmExit(AppContext& ctx);

// The shutdown after the window's timer has stopped: the exit command for the core
// application (unless it aborted), the trace switch remembered in the shared Options, the
// logout, the database closed, and "Closed" as the log's last line.
void ShutDown(AppContext& ctx, SystemSettings& settings, bool traceTicked);

}  // namespace hvx
