#include "MonitorLogin.h"

#include "DatabaseConnection.h"
#include "ProductStrings.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"
#include "settings/DatabaseValues.h"
#include "settings/SystemSettings.h"
#include "settings/cAppSetting.h"

namespace hvx {

namespace {

const QString kMonitorLogin = QStringLiteral("Monitor");

void critical(AppContext& ctx, const QString& text) {
    tellOperator(ctx, text, MessageIcon::Critical);
}

QString whereMonitor(AppContext& ctx) {
    return QStringLiteral(" where Login = ") +
           required(ctx.sqlStringFormatter.get()).FormatText(kMonitorLogin);
}

}  // namespace

bool CheckDatabaseVersion(AppContext& ctx) {
    bool matches = false;
    RunTrapped(ctx, code::kCheckDatabaseVersion, [&] {
        cAppSetting setting(ctx);
        setting.SetSettingName(QStringLiteral("DBVersion"));
        if (!setting.Fetch()) {
            critical(ctx, QStringLiteral("Unable to get the DBVersion setting from the database."));
            return;
        }
        // A null column fetches as a null text, an empty one as an empty text.
        const QString value = setting.SettingValue().toString();
        if (value.isNull()) {
            critical(ctx, QStringLiteral("The DBVersion setting is missing.  Please contact your "
                                         "system administrator for assistance."));
            return;
        }
        if (!isNumeric(value)) {
            critical(ctx, QStringLiteral("The DBVersion setting is invalid.  Please contact your "
                                         "system administrator for assistance."));
            return;
        }
        const int version = toWholeNumber(value);
        const QString tail =
            QStringLiteral("Please contact your system administrator for assistance. ") +
            QStringLiteral("(Application Version =") + QString::number(kRequiredDatabaseVersion) +
            QStringLiteral(", Database Version = ") + QString::number(version) +
            QStringLiteral(")");
        if (version > kRequiredDatabaseVersion) {
            critical(ctx, QStringLiteral("The application needs to be upgraded to match the "
                                         "database version.  ") +
                              tail);
        } else if (version < kRequiredDatabaseVersion) {
            critical(
                ctx,
                QStringLiteral("The application is a later version than the database.  ") + tail);
        } else {
            matches = true;
        }
    });
    return matches;
}

bool InitialiseFromDatabase(AppContext& ctx, SystemSettings& settings, LoginStatus& status) {
    try {
        DatabaseManager& database = required(ctx.databaseManager.get());
        required(ctx.sqlValueFormatter.get()).SetDatabaseType(database.DatabaseType());
        ctx.termTranslator = create(ctx.env.termTranslator, "TermTranslator");
        ctx.termTranslator->SetDatabase(&database);
        ctx.termTranslator->LoadLanguage(QStringLiteral("ENG"), 1);
        ctx.shortCompanyName = GetProductTerm(ctx, QStringLiteral("SHORT_COMPANY_NAME"));
        ctx.shortProductName = GetProductTerm(ctx, QStringLiteral("SHORT_PRODUCT_NAME_MONITOR"));
        if (LoginMonitor(ctx, status)) {
            LoadSystemSettings(ctx, settings);
            BuildDatabaseDescription(ctx);
            return true;
        }
    } catch (...) {
        const RuntimeError error = asRuntimeError(std::current_exception());
        try {
            ErrorManager& errors = required(ctx.errorManager.get());
            errors.SetErrorNumber(error.number());
            errors.SetErrorText(error.description());
            bool isTrace = false;
            errors.Report(isTrace);
        } catch (...) {
            // Nowhere to report to: the undo below still runs.
        }
    }
    // Undo the start; an error here simply ends it.
    try {
        if (ctx.databaseManager) {
            if (status != LoginStatus::HeldElsewhere) {
                LogoutMonitor(ctx);
            }
            ctx.databaseManager->CloseConnection(true);
            ctx.databaseManager.reset();
        }
    } catch (...) {
        return false;
    }
    return false;
}

bool LoginMonitor(AppContext& ctx, LoginStatus& status) {
    ctx.procedureCode = code::kLoginMonitor;
    const auto name = required(ctx.env.computer).computerName();
    if (!name) {
        critical(ctx, QStringLiteral("Unable to get the computer name.  The application cannot "
                                     "continue."));
        return false;
    }
    ctx.computerName = *name;
    status = CheckMonitorLogin(ctx);
    if (status != LoginStatus::Allowed) {
        return false;
    }
    const SqlStringFormatter& text = required(ctx.sqlStringFormatter.get());
    const SqlValueFormatter& values = required(ctx.sqlValueFormatter.get());
    const QString statement = QStringLiteral("update SystemUsers set ComputerName = ") +
                              text.FormatText(ctx.computerName) + QStringLiteral(", ") +
                              QStringLiteral(" LoggedIn = ") + values.FormatBoolean(true) +
                              QStringLiteral(", LoginDate = ") +
                              values.FormatDate(required(ctx.env.clock).now()) + whereMonitor(ctx);
    ctx.procedureCode = code::kLoginMonitorStatement;
    long rowCount = 0;
    return required(ctx.databaseManager.get()).ExecuteStatement(statement, rowCount);
}

LoginStatus CheckMonitorLogin(AppContext& ctx) {
    ctx.procedureCode = code::kCheckMonitorLogin;
    const QString query =
        QStringLiteral("select * ") + QStringLiteral(" from SystemUsers") + whereMonitor(ctx);
    ctx.procedureCode = code::kCheckMonitorLoginQuery;
    auto rows = required(ctx.databaseManager.get()).OpenRecordset(query);
    if (!rows) {
        return LoginStatus::Refused;
    }
    if (rows->AtEnd()) {
        critical(ctx, QStringLiteral("Monitor is not in the System Users table.  Please ask the "
                                     "System Administrator for assistance."));
        rows->Close();
        return LoginStatus::Refused;
    }
    LoginStatus result = LoginStatus::Allowed;
    if (booleanFromField(rows->Field(QStringLiteral("LoggedIn")))) {
        const QString holder = NullToEmpty(rows->Field(QStringLiteral("ComputerName")));
        if (holder.compare(ctx.computerName, Qt::CaseInsensitive) != 0) {
            critical(ctx, QStringLiteral("The Monitor is already running on '") + holder +
                              QStringLiteral("'.  The Monitor can only be run on one machine at "
                                             "a time."));
            result = LoginStatus::HeldElsewhere;
        } else if (ctx.multiInstance) {
            const QString title = ctx.applicationTitle;
            const QString question =
                QStringLiteral("The ") + title +
                QStringLiteral(" user appears to be logged in already.  ") +
                QStringLiteral(
                    "You should only continue if you know this is not so, e.g., after ") +
                QStringLiteral("a machine crash has left the user logged in.") +
                QStringLiteral("\r\n\r\n") +
                QStringLiteral(
                    "Running more than one Monitor on the same database will produce "
                    "unpredictable results.") +
                QStringLiteral("\r\n\r\n") + QStringLiteral("Are you sure you want to start ") +
                title + QStringLiteral("?");
            const MessageAnswer answer =
                required(ctx.env.messageBoxes)
                    .Show({question, QStringLiteral("Already running"), MessageIcon::Question,
                           MessageButtons::YesNo, 2});
            result = answer == MessageAnswer::Yes ? LoginStatus::Allowed : LoginStatus::Refused;
        }
    }
    rows->Close();
    return result;
}

void LogoutMonitor(AppContext& ctx) {
    RunTrapped(ctx, code::kLogoutMonitor, [&] {
        if (!ctx.databaseManager || ctx.databaseManager->UpdatesBlocked()) {
            return;
        }
        const QString statement = QStringLiteral("update SystemUsers ") +
                                  QStringLiteral("set ComputerName = Null, LoggedIn = ") +
                                  required(ctx.sqlValueFormatter.get()).FormatBoolean(false) +
                                  QStringLiteral(", LoginDate = Null") + whereMonitor(ctx);
        ctx.procedureCode = code::kLogoutMonitorStatement;
        ctx.databaseManager->ExecuteCommand(statement, 0);
    });
}

}  // namespace hvx
