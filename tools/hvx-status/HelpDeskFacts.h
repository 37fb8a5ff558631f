#pragma once

#include <QString>

#include <optional>

namespace hvx {

// The Monitor's row of SystemUsers: the lock that says which computer runs the Monitor.
struct MonitorLoginRow {
    // Nothing when LoggedIn is null (the Monitor itself could not read such a row).
    std::optional<bool> loggedIn;
    QString computerName;  // empty when null
    QString loginDate;     // as the database gives it; empty when null
};

// What the help-desk database tells about a Monitor, read with queries only.
struct HelpDeskFacts {
    // Why the database could not be read; empty when it could.
    QString error;
    // The term the single-instance Monitor takes as its title, looked up as its term
    // translator does (the key itself when the term is missing).
    QString shortMonitorName;
    // Nothing when the table holds no Monitor row.
    std::optional<MonitorLoginRow> login;
};

// Connects through the db.ini in `dbIniFolder`. A database server whose db.ini holds no login
// is reached with `userId` and `password`, the login the Monitor handed to the core application.
HelpDeskFacts readHelpDeskFacts(const QString& dbIniFolder, const QString& userId,
                                const QString& password);

}  // namespace hvx
