#include "StatusReport.h"

#include "MonitorWindows.h"
#include "channel/ControlValues.h"
#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QRegularExpression>

namespace hvx {

namespace {

// An error text can be long and span lines; the summary line takes its first line, cut.
constexpr qsizetype kSummaryTextLength = 120;

struct Service {
    const char* jsonName;
    const char* words;
};
constexpr std::array<Service, 5> kServices{{{"readingEmail", "reading email"},
                                            {"sendingEmail", "sending email"},
                                            {"processingSLAs", "processing SLAs"},
                                            {"onHold", "on-hold requests"},
                                            {"archiving", "archiving"}}};

// Nothing when the text is no Boolean the Monitor could read.
std::optional<bool> flag(const QString& text) {
    try {
        return toBoolean(text);
    } catch (const RuntimeError&) {
        return std::nullopt;
    }
}

QString stateName(const QString& state) {
    if (isCode(state, state::kNotStarted)) {
        return QStringLiteral("stopped");
    }
    if (isCode(state, state::kRunning)) {
        return QStringLiteral("running");
    }
    if (isCode(state, state::kSuspended)) {
        return QStringLiteral("suspended");
    }
    if (isCode(state, state::kAborted)) {
        return QStringLiteral("aborted");
    }
    return QStringLiteral("unknown");
}

QString firstLine(const QString& text) {
    QString line = text.section(QRegularExpression(QStringLiteral("[\r\n]")), 0, 0).trimmed();
    if (line.size() > kSummaryTextLength) {
        line = line.left(kSummaryTextLength - 3) + QStringLiteral("...");
    }
    return line;
}

QString levelWord(Level level) {
    switch (level) {
        case Level::Ok:
            return QStringLiteral("OK");
        case Level::Warning:
            return QStringLiteral("WARNING");
        case Level::Critical:
            return QStringLiteral("CRITICAL");
        case Level::Unknown:
            break;
    }
    return QStringLiteral("UNKNOWN");
}

QString yesNo(const QString& text) {
    const std::optional<bool> value = flag(text);
    if (!value) {
        return QStringLiteral("unreadable (%1)").arg(text);
    }
    return QStringLiteral("%1 (%2)").arg(*value ? QStringLiteral("yes") : QStringLiteral("no"),
                                         text);
}

QJsonValue jsonFlag(const QString& text) {
    const std::optional<bool> value = flag(text);
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue jsonText(bool known, const QString& text) {
    return known ? QJsonValue(text) : QJsonValue(QJsonValue::Null);
}

}  // namespace

Verdict assess(const Observation& seen) {
    Verdict verdict;
    if (!seen.storeError.isEmpty() || !seen.title) {
        verdict.level = Level::Unknown;
        if (!seen.storeError.isEmpty()) {
            verdict.reasons
                << QStringLiteral("cannot read the store %1: %2").arg(seen.store, seen.storeError);
        }
        if (!seen.title) {
            verdict.reasons
                << QStringLiteral("cannot tell the Monitor's title: %1").arg(seen.titleError);
        }
    } else {
        QStringList critical;
        QStringList warnings;
        const bool aborted = isCode(seen.state, state::kAborted);
        if (!seen.monitorCaption) {
            critical << QStringLiteral("no Monitor window");
        }
        if (aborted) {
            critical << QStringLiteral("core application aborted (State %1)").arg(seen.state);
        } else if (!seen.coreWindow) {
            critical << QStringLiteral("core application not running (State %1)").arg(seen.state);
        } else if (!seen.monitorCaption) {
            critical << QStringLiteral("core application runs without its Monitor");
        }
        // How the core application runs matters while it does.
        if (seen.coreWindow && isCode(seen.state, state::kSuspended)) {
            warnings << QStringLiteral("suspended (State %1)").arg(seen.state);
        } else if (seen.coreWindow && isCode(seen.state, state::kNotStarted)) {
            warnings << QStringLiteral("core application not started (State %1)").arg(seen.state);
        } else if (seen.coreWindow && !isCode(seen.state, state::kRunning) && !aborted) {
            warnings << QStringLiteral("unknown State code \"%1\"").arg(seen.state);
        }
        if (!seen.errorInfo.isEmpty()) {
            warnings << QStringLiteral("errors logged: ") + firstLine(seen.errorInfo);
        }
        // A text the Monitor cannot read as a Boolean is an issue as well.
        if (flag(seen.coreHasDBIssues).value_or(true)) {
            warnings
                << QStringLiteral("database issues (CoreHasDBIssues %1)").arg(seen.coreHasDBIssues);
        }
        verdict.reasons = critical + warnings;
        if (!critical.isEmpty()) {
            verdict.level = Level::Critical;
        } else if (!warnings.isEmpty()) {
            verdict.level = Level::Warning;
        } else {
            verdict.level = Level::Ok;
            QString running = QStringLiteral("running");
            if (flag(seen.processing).value_or(false)) {
                running += QStringLiteral(", processing");
            }
            if (!seen.status.isEmpty()) {
                running += QStringLiteral(" (core status: %1)").arg(firstLine(seen.status));
            }
            verdict.reasons << running;
        }
    }
    verdict.summary = QStringLiteral("HVXMONITOR ") + levelWord(verdict.level) +
                      QStringLiteral(" - ") +
                      (seen.instance.isEmpty() ? QString() : seen.instance + QStringLiteral(": ")) +
                      verdict.reasons.join(QStringLiteral("; "));
    return verdict;
}

QString humanReport(const Observation& seen, const Verdict& verdict) {
    QStringList lines{verdict.summary};
    const auto add = [&lines](const char* label, const QString& text) {
        lines << (QString::fromLatin1(label).leftJustified(19) + text).trimmed();
    };
    const auto window = [](bool up, const QString& caption) {
        return up ? QStringLiteral("up (\"%1\")").arg(caption) : QStringLiteral("not found");
    };
    add("Instance:", seen.instance.isEmpty() ? QStringLiteral("(single instance)") : seen.instance);
    add("Store:", seen.store);
    if (seen.title) {
        add("Monitor window:",
            window(seen.monitorCaption.has_value(), seen.monitorCaption.value_or(QString())));
        add("Core window:", window(seen.coreWindow, coreCaption(*seen.title)));
    }
    if (seen.storeError.isEmpty()) {
        add("State:", QStringLiteral("%1 (%2)").arg(stateName(seen.state), seen.state));
        add("Processing:", yesNo(seen.processing));
        add("Status:", seen.status);
        add("ErrorInfo:", seen.errorInfo);
        add("CoreHasDBIssues:", yesNo(seen.coreHasDBIssues));
        QStringList services;
        for (std::size_t i = 0; i < kServices.size(); ++i) {
            const std::optional<bool> stopped = flag(seen.stopSwitches.at(i));
            services << QString::fromLatin1(kServices.at(i).words) +
                            (!stopped
                                 ? QStringLiteral(" unreadable")
                                 : (*stopped ? QStringLiteral(" off") : QStringLiteral(" on")));
        }
        add("Services:", services.join(QStringLiteral(", ")));
    }
    if (seen.loginAsked) {
        QString login;
        if (!seen.databaseError.isEmpty()) {
            login = QStringLiteral("cannot read the database: ") + seen.databaseError;
        } else if (!seen.login) {
            login = QStringLiteral("no Monitor row in SystemUsers");
        } else if (!seen.login->loggedIn) {
            login = QStringLiteral("unreadable (LoggedIn is null)");
        } else if (*seen.login->loggedIn) {
            login = QStringLiteral("logged in on %1 since %2")
                        .arg(seen.login->computerName, seen.login->loginDate);
        } else {
            login = QStringLiteral("logged out");
        }
        add("Monitor login:", login);
    }
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QJsonObject jsonReport(const Observation& seen, const Verdict& verdict) {
    const bool read = seen.storeError.isEmpty();
    QJsonObject services;
    for (std::size_t i = 0; i < kServices.size(); ++i) {
        const QJsonValue stopped = read ? jsonFlag(seen.stopSwitches.at(i)) : QJsonValue();
        services.insert(QLatin1String(kServices.at(i).jsonName),
                        stopped.isBool() ? QJsonValue(!stopped.toBool()) : QJsonValue());
    }
    QJsonValue login;
    if (seen.loginAsked) {
        const bool found = seen.login.has_value();
        QJsonObject row{
            {QStringLiteral("found"), found},
            {QStringLiteral("loggedIn"),
             found && seen.login->loggedIn ? QJsonValue(*seen.login->loggedIn) : QJsonValue()},
            {QStringLiteral("computerName"),
             jsonText(found && !seen.login->computerName.isEmpty(),
                      found ? seen.login->computerName : QString())},
            {QStringLiteral("loginDate"), jsonText(found && !seen.login->loginDate.isEmpty(),
                                                   found ? seen.login->loginDate : QString())},
            {QStringLiteral("error"), jsonText(!seen.databaseError.isEmpty(), seen.databaseError)},
        };
        login = row;
    }
    return {
        {QStringLiteral("result"), levelWord(verdict.level)},
        {QStringLiteral("exitCode"), static_cast<int>(verdict.level)},
        {QStringLiteral("summary"), verdict.summary},
        {QStringLiteral("reasons"), QJsonArray::fromStringList(verdict.reasons)},
        {QStringLiteral("instance"), seen.instance},
        {QStringLiteral("store"), seen.store},
        {QStringLiteral("storeError"), jsonText(!read, seen.storeError)},
        {QStringLiteral("title"), jsonText(seen.title.has_value(), seen.title.value_or(QString()))},
        {QStringLiteral("monitorWindow"),
         seen.title ? QJsonValue(seen.monitorCaption.has_value()) : QJsonValue()},
        {QStringLiteral("monitorCaption"),
         jsonText(seen.monitorCaption.has_value(), seen.monitorCaption.value_or(QString()))},
        {QStringLiteral("coreWindow"), seen.title ? QJsonValue(seen.coreWindow) : QJsonValue()},
        {QStringLiteral("state"), jsonText(read, seen.state)},
        {QStringLiteral("stateName"), jsonText(read, stateName(seen.state))},
        {QStringLiteral("processing"), read ? jsonFlag(seen.processing) : QJsonValue()},
        {QStringLiteral("status"), jsonText(read, seen.status)},
        {QStringLiteral("errorInfo"), jsonText(read, seen.errorInfo)},
        {QStringLiteral("coreHasDBIssues"), read ? jsonFlag(seen.coreHasDBIssues) : QJsonValue()},
        {QStringLiteral("services"), services},
        {QStringLiteral("login"), login},
    };
}

}  // namespace hvx
