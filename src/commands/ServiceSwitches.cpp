#include "ServiceSwitches.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"
#include "settings/OldUnsentMessages.h"

namespace hvx {

void applyServiceSwitch(AppContext& ctx, bool& stopSwitch, QLatin1String valueName, bool ticked) {
    try {
        stopSwitch = !ticked;
        SaveRegValue(ctx, ctx.optionsSection, valueName, booleanText(stopSwitch));
    } catch (...) {
        // A store that cannot be written leaves the switch in memory; nothing to tell.
    }
}

void applySendEmailSwitch(AppContext& ctx, bool& ignoreClick, bool ticked,
                          const std::function<int()>& checkOldMessages,
                          const std::function<void()>& untick) {
    ctx.procedureCode = code::kChkSendEmailClick;
    try {
        if (ignoreClick) {
            ignoreClick = false;
            return;
        }
        if (ctx.stop.sendingEmail && checkOldMessages() == oldMessages::kCancelled) {
            ignoreClick = true;
            untick();
            return;
        }
        ctx.stop.sendingEmail = !ticked;
        SaveRegValue(ctx, ctx.optionsSection, value::kStopSendingEmail,
                     booleanText(ctx.stop.sendingEmail));
    } catch (...) {
        // The check and the store keep codes of their own on the way; the report names the
        // handler.
        ctx.procedureCode = code::kChkSendEmailClick;
        ReportError(ctx, asRuntimeError(std::current_exception()));
    }
}

void applyTraceSwitch(AppContext& ctx, bool ticked) {
    try {
        ctx.traceOn = ticked;
        SaveRegValue(ctx, ctx.controlsSection, value::kTrace, booleanText(ticked));
    } catch (...) {
        // As for the service switches.
    }
}

void RunNow(AppContext& ctx, DateValue& lastSettingsRefresh, const std::function<int()>& refresh) {
    RunTrapped(ctx, code::kMnuRunNowClick, [&] {
        if (isCode(GetRegValue(ctx, ctx.controlsSection, value::kProcessing, defaults::kProcessing),
                   QLatin1String("1"))) {
            tellOperator(
                ctx, QStringLiteral("The Monitor is already doing the processing as scheduled."),
                MessageIcon::Information);
            return;
        }
        lastSettingsRefresh = DateValue::zero();
        if (refresh() == 1) {
            SaveRegValue(ctx, ctx.controlsSection, value::kCommand, command::kRunNow);
            return;
        }
        tellOperator(ctx,
                     QStringLiteral("Failed to refresh the System Settings.  Please check the log "
                                    "file for errors."),
                     MessageIcon::Critical);
    });
}

void PreviewInBox(AppContext& ctx) {
    try {
        SaveRegValue(ctx, ctx.optionsSection, value::kManualMailIn, QStringLiteral("1"));
        SaveRegValue(ctx, ctx.controlsSection, value::kCommand, command::kPreview);
    } catch (...) {
        // As for the service switches.
    }
}

}  // namespace hvx
