#include "ErrorNotification.h"

#include "channel/AppContext.h"
#include "channel/ControlValues.h"
#include "channel/RegFunctions.h"
#include "platform/OsServices.h"
#include "platform/RuntimeError.h"

namespace hvx {

void NotifyErrorLogged(AppContext& ctx) {
    DesktopNotifier* notifier = ctx.env.notifier;
    if (notifier == nullptr) {
        return;
    }
    QString errorInfo;
    try {
        errorInfo = GetRegValue(ctx, ctx.controlsSection, value::kErrorInfo, defaults::kErrorInfo);
    } catch (const RuntimeError&) {
        // The notification still says that an error was logged.
    }
    notifier->notify(ctx.applicationTitle + QStringLiteral(": the Monitor logged an error"),
                     errorInfo);
}

}  // namespace hvx
