#pragma once

#include <functional>

namespace hvx {

struct AppContext;
struct SystemSettings;

// The entry procedure: sets up the process-wide state, runs the start-up checks in their
// fixed order behind a splash screen shown for at least two seconds, and calls
// `showMainWindow` when all of them pass. Any failure ends the start before the window is
// shown. Returns whether the main window was shown.
bool Main(AppContext& ctx, SystemSettings& settings, const std::function<void()>& showMainWindow);

}  // namespace hvx
