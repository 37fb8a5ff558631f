#include "LogCommands.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"

#include <QFileInfo>

namespace hvx {

namespace {

const QString kSuspendFirst = QStringLiteral(
    "The Monitor must be suspended before you do this.  Would you like the Monitor to be suspended "
    "now?");

bool running(AppContext& ctx) {
    return isCode(GetRegValue(ctx, ctx.controlsSection, value::kState, defaults::kState),
                  state::kRunning);
}

// Offers to suspend a running core application first. False when the operator declined.
bool suspendOffer(AppContext& ctx, long code, const QString& question,
                  const SuspendAction& suspend) {
    const bool isRunning = running(ctx);
    ctx.procedureCode = code;
    if (!isRunning) {
        return true;
    }
    if (!askOperator(ctx, question)) {
        return false;
    }
    suspend();
    ctx.procedureCode = code;
    return true;
}

}  // namespace

void ViewLogFile(AppContext& ctx, const SuspendAction& suspend) {
    RunTrapped(ctx, code::kMnuViewErrorLogClick, [&] {
        const QString path = required(ctx.errorManager.get()).LogFile();
        if (!QFileInfo::exists(path)) {
            tellOperator(ctx, QStringLiteral("The log file is empty"), MessageIcon::Information);
            return;
        }
        if (!suspendOffer(ctx, code::kMnuViewErrorLogClick, kSuspendFirst, suspend)) {
            return;
        }
        ctx.procedureCode = code::kViewErrorLogLookUp;
        FileOpener& opener = required(ctx.env.fileOpener);
        const auto program = opener.associatedProgram(path);
        // The window's timer may have ticked while the desktop was asked.
        ctx.procedureCode = code::kViewErrorLogLookUp;
        if (!program) {
            tellOperator(
                ctx,
                QStringLiteral("Could not find a program associated with ") + path +
                    QStringLiteral(". Please open the file using your normal text editor."),
                MessageIcon::Exclamation);
            return;
        }
        const QString quoted = QLatin1Char('"') + path + QLatin1Char('"');
        ctx.procedureCode = code::kViewErrorLogStart;
        if (!opener.open(*program, path)) {
            tellOperator(
                ctx,
                quoted + QStringLiteral(" was not opened") +
                    QStringLiteral(". Please open the file using your normal text editor."),
                MessageIcon::Exclamation);
        }
    });
}

void SendLogFile(AppContext& ctx, const SuspendAction& suspend) {
    RunTrapped(ctx, code::kMnuSendLogClick, [&] {
        if (!askOperator(ctx, QStringLiteral("Are you sure you want to send the log file to ") +
                                  ctx.shortCompanyName + QStringLiteral(" Support?"))) {
            return;
        }
        if (!suspendOffer(ctx, code::kMnuSendLogClick, kSuspendFirst, suspend)) {
            return;
        }
        auto sender = create(ctx.env.logSender, "LogSender");
        sender->SetErrorManager(ctx.errorManager.get());
        sender->SetTermTranslator(ctx.termTranslator.get());
        sender->SetTrace(ctx.traceOn);
        sender->SendLog();
    });
}

void ClearLogFile(AppContext& ctx) {
    RunTrapped(ctx, code::kMnuClearLogFileClick, [&] {
        if (askOperator(ctx, QStringLiteral("Are you sure you want to clear the log file?"))) {
            required(ctx.errorManager.get()).ClearLogFile();
        }
    });
}

bool ClearErrorWarning(AppContext& ctx, const SuspendAction& suspend) {
    bool cleared = false;
    RunTrapped(ctx, code::kMnuClearErrorWarningClick, [&] {
        if (running(ctx)) {
            ctx.procedureCode = code::kMnuClearErrorWarningClick;
            if (askOperator(
                    ctx,
                    QStringLiteral(
                        "The Monitor must be suspended and resumed to clear the Error Warning.") +
                        QStringLiteral("\r\n\r\n") +
                        QStringLiteral("After it is suspended, click Resume to continue.") +
                        QStringLiteral("\r\n\r\n") +
                        QStringLiteral("Would you like the Monitor to be suspended now?"))) {
                suspend();
            }
            return;
        }
        SaveRegValue(ctx, ctx.controlsSection, value::kErrorInfo, QString());
        cleared = true;
    });
    return cleared;
}

}  // namespace hvx
