#include "ErrorReporting.h"

#include "AppContext.h"
#include "ProcedureCodes.h"
#include "platform/MessageBoxes.h"

#include <new>

namespace hvx {

QString errorReportText(const QString& description, long procedureCode) {
    return description + QStringLiteral(" (Code ") + QString::number(procedureCode) +
           QStringLiteral(" in HvxMonitor.exe)");
}

RuntimeError asRuntimeError(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const RuntimeError& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return RuntimeError::standard(err::OutOfMemory);
    } catch (const std::exception& other) {
        return {err::InvalidArgument, QString::fromLocal8Bit(other.what())};
    } catch (...) {
        return RuntimeError::standard(0);
    }
}

void ReportError(AppContext& ctx, const RuntimeError& error) {
    const long number = error.number();
    const QString& description = error.description();
    const QString text = errorReportText(description, ctx.procedureCode);
    // From here on a failure ends the report silently: reporting must never raise an error.
    try {
        if (ctx.databaseManager) {
            bool needsReset = ctx.databaseManager->NeedsReset();
            if (needsReset) {
                ctx.databaseManager->Reset(needsReset);
            }
        }
        if (!ctx.errorManager) {
            MessageBoxRequest box;
            box.text = QStringLiteral("System Error: Error Manager is Nothing in HvxMonitor.exe");
            box.icon = MessageIcon::Critical;
            required(ctx.env.messageBoxes).Show(box);
            return;
        }
        ErrorManager& manager = *ctx.errorManager;
        manager.SetErrorNumber(number);
        manager.SetErrorDescription(description);
        manager.SetErrorText(text);
        bool isTrace = false;
        manager.Report(isTrace);
    } catch (...) {
        return;
    }
}

void WriteTrace(AppContext& ctx, const QString& text) {
    ctx.procedureCode = code::kWriteTrace;
    ErrorManager& manager = required(ctx.errorManager.get());
    manager.SetErrorText(text);
    manager.SetErrorSource(QString());
    manager.SetErrorDescription(QString());
    manager.SetErrorNumber(0);
    bool isTrace = true;
    manager.Report(isTrace);
}

}  // namespace hvx
