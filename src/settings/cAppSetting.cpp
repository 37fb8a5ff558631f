#include "cAppSetting.h"

#include "DatabaseValues.h"
#include "channel/AppContext.h"
#include "channel/ProcedureCodes.h"
#include "platform/Clock.h"

namespace hvx {

namespace {

const SqlStringFormatter& text(const AppContext& ctx) {
    return required(ctx.sqlStringFormatter.get());
}

const SqlValueFormatter& values(const AppContext& ctx) {
    return required(ctx.sqlValueFormatter.get());
}

DatabaseManager& database(const AppContext& ctx) {
    return required(ctx.databaseManager.get());
}

}  // namespace

QString cAppSetting::whereName() const {
    return QStringLiteral(" where SettingName = ") + text(*ctx_).FormatText(settingName_);
}

QString cAppSetting::settingValueText() const {
    if (!settingValue_.isNull() && !settingValue_.canConvert<QString>()) {
        throw RuntimeError::standard(err::TypeMismatch);
    }
    return settingValue_.toString();
}

bool cAppSetting::Fetch() {
    ctx_->procedureCode = code::kFetch;
    const QString query = QStringLiteral("select * from Settings") + whereName();
    ctx_->procedureCode = code::kFetchQuery;
    auto rows = database(*ctx_).OpenRecordset(query);
    if (!rows || rows->AtEnd()) {
        return false;
    }
    settingType_ = NullToEmpty(rows->Field(QStringLiteral("SettingType")));
    settingValue_ = NullToEmpty(rows->Field(QStringLiteral("SettingValue")));
    deleted_ = booleanFromField(rows->Field(QStringLiteral("Deleted")));
    lastModified_ = dateFromField(rows->Field(QStringLiteral("LastModified")));
    rows->Close();
    return true;
}

bool cAppSetting::InsertItem() {
    ctx_->procedureCode = code::kInsertItem;
    lastModified_ = required(ctx_->env.clock).now();
    const QString statement =
        QStringLiteral("insert into Settings (") + QStringLiteral("SettingName, ") +
        QStringLiteral("SettingType, ") + QStringLiteral("SettingValue, ") +
        QStringLiteral("Deleted, ") + QStringLiteral("LastModified") + QStringLiteral(")") +
        QStringLiteral(" values (") + text(*ctx_).FormatText(settingName_) + QStringLiteral(", ") +
        text(*ctx_).FormatText(settingType_) + QStringLiteral(", ") +
        text(*ctx_).FormatText(settingValueText()) + QStringLiteral(", ") +
        values(*ctx_).FormatBoolean(false) + QStringLiteral(", ") +
        values(*ctx_).FormatDate(lastModified_) + QStringLiteral(")");
    ctx_->procedureCode = code::kInsertItemStatement;
    long rowCount = 0;
    return database(*ctx_).ExecuteStatement(statement, rowCount);
}

bool cAppSetting::UpdateItem() {
    ctx_->procedureCode = code::kUpdateItem;
    const DateValue newStamp = required(ctx_->env.clock).now();
    const QString valueText = settingValueText();
    const QString statement =
        QStringLiteral("update Settings") + QStringLiteral(" set SettingType = ") +
        text(*ctx_).FormatText(settingType_) + QStringLiteral(", ") +
        QStringLiteral(" SettingValue = ") + text(*ctx_).FormatText(valueText) +
        QStringLiteral(", ") + QStringLiteral(" Deleted = ") + values(*ctx_).FormatBoolean(false) +
        QStringLiteral(", ") + QStringLiteral(" LastModified = ") +
        values(*ctx_).FormatDate(newStamp) + whereName() + QStringLiteral(" and LastModified = ") +
        values(*ctx_).FormatDate(lastModified_);
    ctx_->procedureCode = code::kUpdateItemStatement;
    long rowCount = 0;
    if (!database(*ctx_).ExecuteStatement(statement, rowCount)) {
        return false;
    }
    if (rowCount != 0) {
        lastModified_ = newStamp;
        return true;
    }
    ErrorManager& errors = required(ctx_->errorManager.get());
    errors.SetErrorText(QStringLiteral("The ") + settingName_ +
                        QStringLiteral(" setting change to ") + valueText +
                        QStringLiteral(" wasn't saved. ") +
                        QStringLiteral("It was probably modified by another user or process since "
                                       "you selected it."));
    bool isTrace = false;
    errors.Report(isTrace);
    return false;
}

bool cAppSetting::DeleteItem() {
    ctx_->procedureCode = code::kDeleteItem;
    const QString statement = QStringLiteral("delete from Settings") + whereName();
    ctx_->procedureCode = code::kDeleteItemStatement;
    long rowCount = 0;
    return database(*ctx_).ExecuteStatement(statement, rowCount);
}

bool cAppSetting::CheckExists() {
    ctx_->procedureCode = code::kCheckExists;
    const QString query = QStringLiteral("select 1 from Settings") + whereName();
    ctx_->procedureCode = code::kCheckExistsQuery;
    auto rows = database(*ctx_).OpenRecordset(query);
    if (!rows) {
        return false;
    }
    const bool exists = !(rows->AtStart() && rows->AtEnd());
    rows->Close();
    return exists;
}

}  // namespace hvx
