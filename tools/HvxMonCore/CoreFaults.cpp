#include "CoreFaults.h"

namespace hvx {

CoreFaults CoreFaults::parse(const QString& text, QStringList& problems) {
    CoreFaults faults;
    for (const QString& rawEntry : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString entry = rawEntry.trimmed();
        if (entry.isEmpty()) {
            continue;
        }
        const qsizetype colon = entry.indexOf(QLatin1Char(':'));
        const QString name = entry.left(colon).trimmed();
        std::optional<int> seconds;
        if (colon >= 0) {
            bool ok = false;
            const int number = entry.mid(colon + 1).trimmed().toInt(&ok);
            if (!ok || number < 0) {
                problems
                    << QStringLiteral("%1: the seconds must be a whole number from 0").arg(entry);
                continue;
            }
            seconds = number;
        }
        const bool timed = name == QLatin1String("abort-after") ||
                           name == QLatin1String("slow-start") ||
                           name == QLatin1String("error-after");
        if (timed != seconds.has_value()) {
            problems << (timed ? QStringLiteral("%1: needs a number of seconds (%1:N)")
                               : QStringLiteral("%1: takes no number"))
                            .arg(name);
            continue;
        }
        if (name == QLatin1String("abort-after")) {
            faults.abortAfter = seconds;
        } else if (name == QLatin1String("slow-start")) {
            faults.slowStart = seconds;
        } else if (name == QLatin1String("error-after")) {
            faults.errorAfter = seconds;
        } else if (name == QLatin1String("no-window")) {
            faults.noWindow = true;
        } else if (name == QLatin1String("ignore-commands")) {
            faults.ignoreCommands = true;
        } else if (name == QLatin1String("db-issues")) {
            faults.dbIssues = true;
        } else {
            problems << QStringLiteral("%1: unknown fault").arg(entry);
        }
    }
    return faults;
}

}  // namespace hvx
