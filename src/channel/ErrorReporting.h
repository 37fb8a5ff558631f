#pragma once

#include "platform/RuntimeError.h"

#include <QString>

#include <exception>

namespace hvx {

struct AppContext;

// Reports a run-time error with the procedure code in force: the text is the description,
// " (Code ", the code and " in HvxMonitor.exe)". Never throws.
void ReportError(AppContext& ctx, const RuntimeError& error);

// One trace line. Whether to trace at all is the caller's decision. Errors reach the caller.
void WriteTrace(AppContext& ctx, const QString& text);

// The report text of an error at a procedure code.
QString errorReportText(const QString& description, long procedureCode);

// Turns whatever escaped a procedure into a run-time error.
RuntimeError asRuntimeError(const std::exception_ptr& failure);

// The error trap of a procedure: stores `code`, runs `body`, and on a run-time error reports
// it and leaves. Returns whether `body` ran to its end, so a procedure returns the result
// it had reached.
template <typename Body>
bool RunTrapped(AppContext& ctx, long code, Body&& body);

}  // namespace hvx

#include "AppContext.h"

namespace hvx {

template <typename Body>
bool RunTrapped(AppContext& ctx, long code, Body&& body) {
    ctx.procedureCode = code;
    try {
        body();
        return true;
    } catch (...) {
        ReportError(ctx, asRuntimeError(std::current_exception()));
        return false;
    }
}

}  // namespace hvx
