#pragma once

#include "platform/DateValue.h"

#include <QString>
#include <QVariant>

namespace hvx {

struct AppContext;

// One row of the Settings table in memory. Every statement selects the row by its name, and
// every value in a statement is a literal from the context's formatters. UpdateItem is
// optimistic: it succeeds only while the row's LastModified is still the stamp this object
// read or wrote last. Catches nothing: errors reach the caller with the step's code stored.
class cAppSetting {
  public:
    explicit cAppSetting(AppContext& ctx) : ctx_(&ctx) {}

    QString SettingName() const { return settingName_; }
    void SetSettingName(const QString& RHS) { settingName_ = RHS; }
    QString SettingType() const { return settingType_; }
    void SetSettingType(const QString& RHS) { settingType_ = RHS; }
    QVariant SettingValue() const { return settingValue_; }
    void SetSettingValue(const QVariant& RHS) { settingValue_ = RHS; }
    bool Deleted() const { return deleted_; }
    void SetDeleted(bool RHS) { deleted_ = RHS; }
    DateValue LastModified() const { return lastModified_; }
    void SetLastModified(const DateValue& RHS) { lastModified_ = RHS; }

    // Loads the row named SettingName; false (and nothing changed) when there is none.
    bool Fetch();
    bool InsertItem();
    bool UpdateItem();
    bool DeleteItem();
    // Whether a row of that name exists, deleted or not.
    bool CheckExists();

  private:
    QString whereName() const;
    QString settingValueText() const;

    AppContext* ctx_;
    QString settingName_;
    QString settingType_;
    QVariant settingValue_ = QString();
    bool deleted_ = false;
    DateValue lastModified_;
};

}  // namespace hvx
