#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace hvx {

// Misbehaviour on request, so that the Monitor's handling of a faulty core application can be
// tried for real. Read from HVX_CORE_FAULT, a comma-separated list; times are seconds after
// the start.
struct CoreFaults {
    // Write State "999" and end.
    std::optional<int> abortAfter;
    bool noWindow = false;
    // Show the window this late.
    std::optional<int> slowStart;
    // Never take a command (Command stays as the Monitor wrote it).
    bool ignoreCommands = false;
    // Write a text into ErrorInfo.
    std::optional<int> errorAfter;
    // Report database trouble through CoreHasDBIssues from the start.
    bool dbIssues = false;

    // Entries that are not understood go into `problems` and are otherwise ignored.
    static CoreFaults parse(const QString& text, QStringList& problems);
};

}  // namespace hvx
