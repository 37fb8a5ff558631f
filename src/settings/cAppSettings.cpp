#include "cAppSettings.h"

#include "DatabaseValues.h"
#include "channel/AppContext.h"
#include "channel/ProcedureCodes.h"

#include <algorithm>

namespace hvx {

QString cAppSettings::keyOf(const QString& name) {
    // Only ASCII letters fold: the setting names in use are plain ASCII.
    QString key = name;
    for (QChar& c : key) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) {
            c = QChar(c.unicode() + ('a' - 'A'));
        }
    }
    return key;
}

std::shared_ptr<cAppSetting> cAppSettings::Add(const QString& SettingName,
                                               const QString& SettingType,
                                               const QVariant& SettingValue, bool Deleted,
                                               const DateValue& LastModified) {
    const QString key = keyOf(SettingName);
    if (byKey_.contains(key)) {
        throw RuntimeError::standard(err::KeyAlreadyInCollection);
    }
    auto item = std::make_shared<cAppSetting>(*ctx_);
    item->SetSettingName(SettingName);
    item->SetSettingType(SettingType);
    item->SetSettingValue(SettingValue);
    item->SetDeleted(Deleted);
    item->SetLastModified(LastModified);
    items_.push_back(item);
    byKey_.insert(key, item);
    return item;
}

std::size_t cAppSettings::indexOf(const QString& key) const {
    const auto found = byKey_.constFind(keyOf(key));
    if (found == byKey_.cend()) {
        throw RuntimeError::standard(err::InvalidArgument);
    }
    return static_cast<std::size_t>(std::find(items_.begin(), items_.end(), *found) -
                                    items_.begin());
}

std::size_t cAppSettings::indexOf(int position) const {
    if (position < 1 || position > Count()) {
        throw RuntimeError::standard(err::SubscriptOutOfRange);
    }
    return static_cast<std::size_t>(position - 1);
}

std::shared_ptr<cAppSetting> cAppSettings::Item(const QString& key) const {
    const auto found = byKey_.constFind(keyOf(key));
    if (found == byKey_.cend()) {
        throw RuntimeError::standard(err::InvalidArgument);
    }
    return *found;
}

std::shared_ptr<cAppSetting> cAppSettings::Item(int position) const {
    return items_[indexOf(position)];
}

void cAppSettings::removeAt(std::size_t index) {
    byKey_.remove(keyOf(items_[index]->SettingName()));
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
}

void cAppSettings::Remove(const QString& key) {
    removeAt(indexOf(key));
}

void cAppSettings::Remove(int position) {
    removeAt(indexOf(position));
}

bool cAppSettings::Find(const QString& OrderBy) {
    ctx_->procedureCode = code::kFind;
    QString query = QStringLiteral("select * from Settings") + QStringLiteral(" where Deleted = ") +
                    required(ctx_->sqlValueFormatter.get()).FormatBoolean(false);
    query += OrderBy.isEmpty() ? QStringLiteral(" Order By SettingName")
                               : QStringLiteral(" Order By ") + OrderBy;
    ctx_->procedureCode = code::kFindQuery;
    auto rows = required(ctx_->databaseManager.get()).OpenRecordset(query);
    if (!rows) {
        return false;
    }
    while (!rows->AtEnd()) {
        Add(NullToEmpty(rows->Field(QStringLiteral("SettingName"))),
            NullToEmpty(rows->Field(QStringLiteral("SettingType"))),
            NullToEmpty(rows->Field(QStringLiteral("SettingValue"))),
            booleanFromField(rows->Field(QStringLiteral("Deleted"))),
            dateFromField(rows->Field(QStringLiteral("LastModified"))));
        rows->MoveNext();
    }
    rows->Close();
    return true;
}

}  // namespace hvx
