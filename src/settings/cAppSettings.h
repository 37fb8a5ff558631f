#pragma once

#include "cAppSetting.h"

#include <QHash>
#include <QString>

#include <memory>
#include <vector>

namespace hvx {

// Settings rows in memory, in the order they were added, keyed by SettingName without regard
// to ASCII case. Items are shared: changing the item that Item returns changes the
// collection's. Catches nothing: a missing key or position, or a duplicate name, raises.
class cAppSettings {
  public:
    using Items = std::vector<std::shared_ptr<cAppSetting>>;

    explicit cAppSettings(AppContext& ctx) : ctx_(&ctx) {}

    // Error 457 when the name is already present, in any case.
    std::shared_ptr<cAppSetting> Add(const QString& SettingName, const QString& SettingType,
                                     const QVariant& SettingValue, bool Deleted,
                                     const DateValue& LastModified);
    // Error 5 for a key that is not present.
    std::shared_ptr<cAppSetting> Item(const QString& key) const;
    // Counting from 1; error 9 for a position that is not present.
    std::shared_ptr<cAppSetting> Item(int position) const;
    int Count() const { return static_cast<int>(items_.size()); }
    void Remove(const QString& key);
    void Remove(int position);
    // The enumerator: walks the items in their order.
    Items::const_iterator begin() const { return items_.begin(); }
    Items::const_iterator end() const { return items_.end(); }

    // Adds the rows of Settings that are not deleted, ordered by `OrderBy` (columns, taken
    // verbatim) or by SettingName. False when the query gave no result. Adds to what the
    // collection holds, so a second Find on one collection fails at its first row.
    bool Find(const QString& OrderBy = QString());

  private:
    static QString keyOf(const QString& name);
    std::size_t indexOf(const QString& key) const;
    std::size_t indexOf(int position) const;
    void removeAt(std::size_t index);

    AppContext* ctx_;
    Items items_;
    QHash<QString, std::shared_ptr<cAppSetting>> byKey_;
};

}  // namespace hvx
