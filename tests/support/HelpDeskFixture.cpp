#include "HelpDeskFixture.h"

#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "platform/RuntimeError.h"

namespace hvx::test {

HelpDeskFixture::HelpDeskFixture(TestEnvironment& t) : scratch(testEngineFromEnvironment()), t_(t) {
    scratch.ini().save(DbIni::pathIn(scratch.folder()));
    reconnect();
    HelpDeskSchema(static_cast<QtSqlDatabaseManager&>(*t.ctx->databaseManager), t.clock.now())
        .Create();
    t.ctx->sqlStringFormatter = std::make_unique<SqlLiteralStringFormatter>();
    t.ctx->sqlValueFormatter = std::make_unique<SqlLiteralValueFormatter>();
    t.ctx->sqlStringFormatter->SetDatabaseType(t.ctx->databaseManager->DatabaseType());
    t.ctx->sqlValueFormatter->SetDatabaseType(t.ctx->databaseManager->DatabaseType());
}

void HelpDeskFixture::reconnect() {
    auto database = std::make_unique<QtSqlDatabaseManager>();
    database->SetDbIniFolder(scratch.folder());
    database->SetErrorManager(t_.ctx->errorManager.get());
    if (database->ConnectWith(scratch.ini(), scratch.folder()) == 0) {
        throw RuntimeError(0, QStringLiteral("The scratch database cannot be reached"));
    }
    t_.ctx->databaseManager = std::move(database);
}

void HelpDeskFixture::execute(const QString& sql) {
    long rows = 0;
    if (!t_.ctx->databaseManager->ExecuteStatement(sql, rows)) {
        throw RuntimeError(0, QStringLiteral("Test statement failed: ") + sql);
    }
}

QVariant HelpDeskFixture::scalar(const QString& sql) {
    auto rows = t_.ctx->databaseManager->OpenRecordset(sql);
    if (!rows) {
        throw RuntimeError(0, QStringLiteral("Test query failed: ") + sql);
    }
    QVariant value = rows->AtEnd() ? QVariant() : rows->Field(0);
    rows->Close();
    return value;
}

QString HelpDeskFixture::text(const QString& value) const {
    return t_.ctx->sqlStringFormatter->FormatText(value);
}

void HelpDeskFixture::setSetting(const QString& name, const QString& value) {
    execute(QStringLiteral("update Settings set SettingValue = ") + text(value) +
            QStringLiteral(" where SettingName = ") + text(name));
}

void HelpDeskFixture::setSettingNull(const QString& name) {
    execute(QStringLiteral("update Settings set SettingValue = null where SettingName = ") +
            text(name));
}

void HelpDeskFixture::deleteSetting(const QString& name) {
    execute(QStringLiteral("delete from Settings where SettingName = ") + text(name));
}

}  // namespace hvx::test
