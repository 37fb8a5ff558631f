#pragma once

#include "HelpDeskFacts.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

namespace hvx {

// One look at a Monitor and its core application: what the store and the window lookup
// showed at one moment.
struct Observation {
    QString instance;  // empty for the single-instance Monitor
    QString store;
    // Why the store could not be read; empty when it could (then the values below hold).
    QString storeError;
    // The Monitor's title; nothing when it cannot be told (titleError says why).
    std::optional<QString> title;
    QString titleError;
    // The caption of the Monitor's window that was found.
    std::optional<QString> monitorCaption;
    bool coreWindow = false;

    // The control values, read with the Monitor's defaults.
    QString state;
    QString processing;
    QString status;
    QString errorInfo;
    QString coreHasDBIssues;
    // StopReadingEmail, StopSendingEmail, StopProcessingSLAs, StopOnHold, StopArchiving.
    std::array<QString, 5> stopSwitches;

    // With a db.ini to read: the Monitor's login row, or why it could not be read.
    bool loginAsked = false;
    std::optional<MonitorLoginRow> login;
    QString databaseError;
};

// Monitoring-plugin levels; the value is the exit code.
enum class Level { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

struct Verdict {
    Level level = Level::Unknown;
    // The findings, most severe first.
    QStringList reasons;
    // The one line a monitoring system shows: "HVXMONITOR OK - running".
    QString summary;
};

Verdict assess(const Observation& seen);

// The summary line, then one line per fact.
QString humanReport(const Observation& seen, const Verdict& verdict);
// Field names are documented in the README and must not change.
QJsonObject jsonReport(const Observation& seen, const Verdict& verdict);

}  // namespace hvx
