#include "Shutdown.h"

#include "MonitorLogin.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Conversions.h"
#include "platform/Dialogs.h"
#include "platform/MessageBoxes.h"
#include "settings/SystemSettings.h"

namespace hvx {

bool ConfirmExit(AppContext& ctx) {
    bool allowed = true;
    RunTrapped(ctx, code::kFormQueryUnload, [&] {
        if (isCode(GetRegValue(ctx, ctx.controlsSection, value::kState, defaults::kState),
                   state::kAborted)) {
            return;
        }
        if (isCode(GetRegValue(ctx, ctx.controlsSection, value::kProcessing, defaults::kProcessing),
                   QLatin1String("1"))) {
            allowed = askOperator(
                ctx, QStringLiteral("The monitor is busy.  Are you sure you want to exit?"), 2);
            return;
        }
        if (!isCode(GetRegValue(ctx, QString(section::kWarnings), value::kExitMonitor,
                                defaults::kWarning),
                    QLatin1String("0"))) {
            return;
        }
        ctx.procedureCode = code::kFormQueryUnload;
        auto dialog = create(ctx.env.messageWithTurnOffDialog, "dlgMessageWithTurnOff");
        dialog->SetFormCaption(ctx.applicationTitle + QStringLiteral(" - Exit"));
        dialog->SetMsg(QStringLiteral("Are you sure you want to exit?"));
        dialog->SetYesNo(true);
        dialog->SetWarningOffKey(QString(value::kExitMonitor));
        dialog->SetWarningOffMessage(QStringLiteral("Don't ask me this again"));
        dialog->SetPictureType(MessageWithTurnOffDialog::kQuestion);
        dialog->Show();
        allowed = dialog->Response() != static_cast<long>(MessageAnswer::No);
    });
    return allowed;
}

void ShutDown(AppContext& ctx, SystemSettings& settings, bool traceTicked) {
    RunTrapped(ctx, code::kFormUnload, [&] {
        if (!isCode(GetRegValue(ctx, ctx.controlsSection, value::kState, defaults::kState),
                    state::kAborted)) {
            SaveRegValue(ctx, ctx.controlsSection, value::kCommand, command::kClose);
        }
        SaveRegValue(ctx, QString(section::kSharedOptions), value::kTrace,
                     booleanText(traceTicked));
        LogoutMonitor(ctx);
        ctx.procedureCode = code::kFormUnload;
        if (ctx.databaseManager) {
            ctx.databaseManager->CloseConnection(true);
            ctx.databaseManager.reset();
        }
        settings.collection.reset();
        ErrorManager& errors = required(ctx.errorManager.get());
        errors.SetErrorText(QStringLiteral("Closed\r\n"));
        bool isTrace = true;
        errors.Report(isTrace);
    });
}

}  // namespace hvx
