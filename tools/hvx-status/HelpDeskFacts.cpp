#include "HelpDeskFacts.h"

#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QDateTime>

namespace hvx {

namespace {

const QString kShortMonitorNameKey = QStringLiteral("SHORT_PRODUCT_NAME_MONITOR");

QString dateText(const QVariant& value) {
    if (value.isNull()) {
        return {};
    }
    if (value.metaType().id() == QMetaType::QDateTime) {
        return value.toDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    }
    return value.toString();
}

}  // namespace

HelpDeskFacts readHelpDeskFacts(const QString& dbIniFolder, const QString& userId,
                                const QString& password) {
    HelpDeskFacts facts;
    DbIni settings;
    try {
        settings = DbIni::load(DbIni::pathIn(dbIniFolder));
    } catch (const RuntimeError& failure) {
        facts.error = failure.description();
        return facts;
    }
    if (!settings.isJet() && settings.userId.isEmpty()) {
        settings.userId = userId;
        settings.password = password;
    }
    QtSqlDatabaseManager database;
    switch (database.ConnectWith(settings, dbIniFolder)) {
        case 2:
            break;
        case 1:
            facts.error = QStringLiteral("the database has no help-desk tables");
            return facts;
        default:
            facts.error = database.LastErrorText();
            return facts;
    }
    SqlLiteralStringFormatter text;
    text.SetDatabaseType(database.DatabaseType());

    facts.shortMonitorName = kShortMonitorNameKey;
    if (auto terms = database.OpenRecordset(
            QStringLiteral("select TermKey, TermText from Terms where Language = ") +
            text.FormatText(QStringLiteral("ENG")))) {
        for (; !terms->AtEnd(); terms->MoveNext()) {
            if (terms->Field(0).toString().compare(kShortMonitorNameKey, Qt::CaseInsensitive) ==
                0) {
                facts.shortMonitorName = terms->Field(1).toString();
            }
        }
        terms->Close();
    } else {
        facts.error = database.LastErrorText();
    }

    if (auto rows = database.OpenRecordset(
            QStringLiteral("select LoggedIn, ComputerName, LoginDate from SystemUsers where "
                           "Login = ") +
            text.FormatText(QStringLiteral("Monitor")))) {
        if (!rows->AtEnd()) {
            MonitorLoginRow row;
            const QVariant loggedIn = rows->Field(0);
            try {
                if (!loggedIn.isNull()) {
                    row.loggedIn = toBoolean(loggedIn.toString());
                }
            } catch (const RuntimeError&) {
                // Left unknown, as a value the Monitor could not read either.
            }
            row.computerName = rows->Field(1).toString();
            row.loginDate = dateText(rows->Field(2));
            facts.login = row;
        }
        rows->Close();
    } else {
        facts.error = database.LastErrorText();
    }
    database.CloseConnection(true);
    return facts;
}

}  // namespace hvx
