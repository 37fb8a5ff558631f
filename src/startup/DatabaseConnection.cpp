#include "DatabaseConnection.h"

#include "MonitorLogin.h"
#include "Version.h"
#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "platform/FileOperations.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"

#include <QDir>
#include <QFileInfo>

namespace hvx {

namespace {

const QString kDbIni = QStringLiteral("db.ini");

QString dbIniIn(const QString& folder) {
    return folder + QLatin1Char('/') + kDbIni;
}

bool sameFolder(const QString& a, const QString& b) {
    return QDir::cleanPath(a).compare(QDir::cleanPath(b), Qt::CaseInsensitive) == 0;
}

void exclaim(AppContext& ctx, const QString& text) {
    tellOperator(ctx, text, MessageIcon::Exclamation);
}

QString failureText(const RuntimeError& error) {
    return error.description() + QStringLiteral(" (") + QString::number(error.number()) +
           QStringLiteral(")");
}

// Deletes folder/db.ini; tells the operator and answers false when that fails.
bool deleteDbIni(AppContext& ctx, const QString& folder) {
    try {
        removeFile(dbIniIn(folder));
        return true;
    } catch (const RuntimeError& error) {
        exclaim(ctx, failureText(error) + QStringLiteral(" when deleting ") + dbIniIn(folder));
        return false;
    }
}

// Moves the db.ini that the wizard wrote into the application folder to `target`.
bool moveWizardDbIni(AppContext& ctx, const QString& target) {
    const QString source = dbIniIn(ctx.env.applicationFolder);
    try {
        copyFile(source, dbIniIn(target));
    } catch (const RuntimeError& error) {
        exclaim(ctx, failureText(error) + QStringLiteral(" when copying ") + source +
                         QStringLiteral(" to ") + target);
        return false;
    }
    return deleteDbIni(ctx, ctx.env.applicationFolder);
}

UserInterface* ui(AppContext& ctx) {
    return ctx.env.userInterface;
}

}  // namespace

bool ConnectDatabase(AppContext& ctx, SystemSettings& settings, LoginStatus& status) {
    bool connected = false;
    RunTrapped(ctx, code::kConnectDatabase, [&] {
        for (;;) {
            if (ctx.databaseManager) {
                ctx.databaseManager->CloseConnection(true);
            }
            try {
                ctx.databaseManager = create(ctx.env.databaseManager, "DatabaseManager");
            } catch (const RuntimeError&) {
                ctx.databaseManager.reset();
            }
            if (!ctx.databaseManager) {
                tellOperator(
                    ctx,
                    QStringLiteral("Unable to create the Database Manager component.  ") +
                        QStringLiteral("Please use Control Panel to remove and reinstall ") +
                        ctx.applicationTitle + QStringLiteral("."),
                    MessageIcon::Critical);
                return;
            }
            DatabaseManager& database = *ctx.databaseManager;

            ctx.procedureCode = code::kConnectDatabaseFolder;
            QString folder = ctx.env.applicationFolder;
            if (!ctx.instanceDbIniFolder.isEmpty()) {
                database.SetDbIniFolder(ctx.instanceDbIniFolder);
                folder = ctx.instanceDbIniFolder;
            }
            database.SetErrorManager(ctx.errorManager.get());

            ctx.procedureCode = code::kConnectDatabaseCheckDbIni;
            if (!QFileInfo(dbIniIn(folder)).isFile()) {
                if (ui(ctx) != nullptr) {
                    ui(ctx)->setWaitCursor(false);
                }
                ctx.procedureCode = code::kConnectDatabaseWizard;
                if (!RunConnectionWizard(ctx)) {
                    return;
                }
                ctx.procedureCode = code::kConnectDatabaseCopyDbIni;
                if (!sameFolder(ctx.env.applicationFolder, folder) &&
                    !moveWizardDbIni(ctx, folder)) {
                    return;
                }
                ctx.procedureCode = code::kConnectDatabaseAfterWizard;
                if (ui(ctx) != nullptr) {
                    ui(ctx)->processEvents();
                    ui(ctx)->setWaitCursor(true);
                }
            }

            ctx.procedureCode = code::kConnectDatabaseConnect;
            const long result = database.Connect(QString(), true, QVariant());
            if (result == 0) {
                const MessageAnswer answer =
                    required(ctx.env.messageBoxes)
                        .Show(
                            {QStringLiteral("Do you want to run the Database Connection Wizard ") +
                                 QStringLiteral("to change the database connection information?"),
                             std::nullopt, MessageIcon::Question, MessageButtons::YesNo, 2});
                if (answer != MessageAnswer::Yes || !deleteDbIni(ctx, folder)) {
                    return;
                }
                continue;
            }
            if (result == 1) {
                tellOperator(ctx,
                             QStringLiteral("The database has not been configured.  Run the main "
                                            "Help Desk application first."),
                             MessageIcon::Critical);
                return;
            }
            break;
        }

        DatabaseManager& database = *ctx.databaseManager;
        if (ctx.termTranslator) {
            ctx.termTranslator->SetDatabase(&database);
        }
        required(ctx.sqlValueFormatter.get()).SetDatabaseType(database.DatabaseType());
        required(ctx.sqlStringFormatter.get()).SetDatabaseType(database.DatabaseType());
        if (!CheckDatabaseVersion(ctx)) {
            return;
        }

        ctx.procedureCode = code::kConnectDatabaseJetCheck;
        if (database.DatabaseType().compare(QLatin1String("JET"), Qt::CaseInsensitive) == 0 &&
            database.CheckJetDatabase(ctx.applicationTitle, QString(), QVariant(), QVariant(), 0) ==
                0) {
            ctx.databaseManager.reset();
            return;
        }
        ctx.databaseUserId = database.DatabaseUserId();
        ctx.databasePassword = database.DatabasePassword();
        connected = InitialiseFromDatabase(ctx, settings, status);
    });
    return connected;
}

bool RunConnectionWizard(AppContext& ctx) {
    bool completed = false;
    RunTrapped(ctx, code::kRunConnectionWizard, [&] {
        auto created = create(ctx.env.connectionWizard, "HvxCnnWiz.ConnectionWizard");
        ctx.procedureCode = code::kRunConnectionWizardHold;
        const std::unique_ptr<ConnectionWizard> wizard = std::move(created);
        ctx.procedureCode = code::kRunConnectionWizardErrorManager;
        wizard->SetErrorManager(ctx.errorManager.get());
        ctx.procedureCode = code::kRunConnectionWizardShow;
        wizard->ShowDialog();
        completed = !wizard->Cancelled();
    });
    return completed;
}

void BuildDatabaseDescription(AppContext& ctx) {
    RunTrapped(ctx, code::kBuildDatabaseDescription, [&] {
        const DatabaseManager& database = required(ctx.databaseManager.get());
        const QString type = database.DatabaseType();
        QString kind;
        if (type.compare(QLatin1String("JET"), Qt::CaseInsensitive) == 0) {
            kind = QStringLiteral("Access>") + database.DatabaseLocation();
        } else if (type.compare(QLatin1String("SQLSERVER"), Qt::CaseInsensitive) == 0) {
            kind = QStringLiteral("SQL Server>") + database.DatabaseLocation();
        }
        ctx.databaseDescription = QStringLiteral("v%1.%2.%3 [")
                                      .arg(version::kMajor)
                                      .arg(version::kMinor, 2, 10, QLatin1Char('0'))
                                      .arg(version::kRevision) +
                                  kind + QStringLiteral("]");
    });
}

}  // namespace hvx
