#pragma once

#include "platform/DateValue.h"

#include <QLatin1String>

#include <functional>

namespace hvx {

struct AppContext;
struct SystemSettings;

// What the service check boxes, the trace box and the processing commands write into the
// control channel. The core application reads the values and does the work.

// A service box: its Stop switch is on while the box is unticked; written "1" or "0" to the
// Options section. Errors end it silently (the switch in memory may already have changed).
void applyServiceSwitch(AppContext& ctx, bool& stopSwitch, QLatin1String valueName, bool ticked);

// The Send Email box. Switching sending on first runs `checkOldMessages` (the old-messages
// check; its answer 2 means the operator cancelled), and a cancel unticks the box again through
// `untick`. That untick raises the click once more, which `ignoreClick` swallows. Any error is
// reported with the handler's own code.
void applySendEmailSwitch(AppContext& ctx, bool& ignoreClick, bool ticked,
                          const std::function<int()>& checkOldMessages,
                          const std::function<void()>& untick);

// The trace box: the trace switch, and Trace "1" or "0" in the Controls section for the core
// application. Errors end it silently.
void applyTraceSwitch(AppContext& ctx, bool ticked);

// Run now: refreshes the settings at once (`refresh` answers 1 when they are current) and
// asks for a processing run.
void RunNow(AppContext& ctx, DateValue& lastSettingsRefresh, const std::function<int()>& refresh);

// Preview: the option first, so a core application reading between the writes finds no
// command without its option.
void PreviewInBox(AppContext& ctx);

}  // namespace hvx
