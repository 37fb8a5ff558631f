#include "CoreDatabase.h"

#include "channel/AppContext.h"
#include "channel/RegFunctions.h"
#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "platform/RuntimeError.h"

#include <QFileInfo>

namespace hvx {

namespace {

const QString kShortMonitorNameKey = QStringLiteral("SHORT_PRODUCT_NAME_MONITOR");
const QString kLanguage = QStringLiteral("ENG");

}  // namespace

CoreDatabase::CoreDatabase(AppContext& ctx, QString applicationFolder)
    : ctx_(ctx), applicationFolder_(std::move(applicationFolder)) {}

QString CoreDatabase::dbIniFolder() const {
    const QString named = GetRegValue(ctx_, ctx_.controlsSection, value::kDBINIPath, QString());
    return named.isEmpty() ? applicationFolder_ : named;
}

bool CoreDatabase::configured() const {
    return QFileInfo::exists(DbIni::pathIn(dbIniFolder()));
}

bool CoreDatabase::connect(QtSqlDatabaseManager& database, QString& error) {
    const QString folder = dbIniFolder();
    DbIni settings;
    try {
        settings = DbIni::load(DbIni::pathIn(folder));
    } catch (const RuntimeError& failure) {
        error = failure.description();
        return false;
    }
    // The Monitor hands over its own login when db.ini holds none (a server that asks the
    // operator for it); a file database needs none.
    if (!settings.isJet() && settings.userId.isEmpty()) {
        settings.userId = GetRegValue(ctx_, ctx_.controlsSection, value::kUserId, QString());
        settings.password = GetRegValue(ctx_, ctx_.controlsSection, value::kPwd, QString());
    }
    switch (database.ConnectWith(settings, folder)) {
        case 2:
            return true;
        case 1:
            error = QStringLiteral("the database has no help-desk tables");
            return false;
        default:
            error = database.LastErrorText();
            return false;
    }
}

std::optional<QString> CoreDatabase::shortMonitorName() {
    try {
        return lookUpShortMonitorName();
    } catch (const RuntimeError&) {
        return std::nullopt;  // a store that cannot be read: the ticks say so
    }
}

std::optional<QString> CoreDatabase::lookUpShortMonitorName() {
    if (!configured()) {
        return std::nullopt;
    }
    QtSqlDatabaseManager database;
    QString error;
    if (!connect(database, error)) {
        return std::nullopt;
    }
    SqlLiteralStringFormatter text;
    text.SetDatabaseType(database.DatabaseType());
    auto terms =
        database.OpenRecordset(QStringLiteral("select TermText from Terms where Language = ") +
                               text.FormatText(kLanguage) + QStringLiteral(" and TermKey = ") +
                               text.FormatText(kShortMonitorNameKey));
    if (!terms) {
        return std::nullopt;
    }
    QString name = kShortMonitorNameKey;
    if (!terms->AtEnd()) {
        const QVariant term = terms->Field(0);
        if (!term.isNull()) {
            name = term.toString();
        }
    }
    terms->Close();
    database.CloseConnection(true);
    return name;
}

CoreDatabase::SendResult CoreDatabase::sendUnsent(bool sendingOn, const DateValue& now) {
    SendResult result;
    if (!configured()) {
        return result;
    }
    QtSqlDatabaseManager database;
    if (!connect(database, result.error)) {
        result.outcome = SendResult::Outcome::Failed;
        return result;
    }
    if (!sendingOn) {
        result.outcome = SendResult::Outcome::SendingOff;
        database.CloseConnection(true);
        return result;
    }
    SqlLiteralValueFormatter values;
    values.SetDatabaseType(database.DatabaseType());
    const QString stamp = values.FormatDate(now);
    long rows = 0;
    if (database.ExecuteStatement(QStringLiteral("update Messages set Sent = ") + stamp +
                                      QStringLiteral(", LastModified = ") + stamp +
                                      QStringLiteral(" where Sent is null"),
                                  rows)) {
        result.outcome = SendResult::Outcome::Done;
        result.sent = rows;
    } else {
        result.outcome = SendResult::Outcome::Failed;
        result.error = database.LastErrorText();
    }
    database.CloseConnection(true);
    return result;
}

}  // namespace hvx
