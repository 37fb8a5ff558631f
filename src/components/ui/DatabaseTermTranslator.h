#pragma once

#include "platform/ProductComponents.h"

#include <QHash>
#include <QString>

namespace hvx {

// The product's words from the Terms table (Language, TermKey, TermText). A key without a
// term answers itself, so a missing term shows as its key rather than as nothing.
class DatabaseTermTranslator final : public TermTranslator {
  public:
    void SetDatabase(DatabaseManager* database) override { database_ = database; }
    // Loads the terms of `language`; terms already loaded stay when the query fails.
    void LoadLanguage(const QString& language, long options) override;
    QString GetTerm(const QString& key, const QString& context) const override;
    // Replaces every "[[KEY]]" in the window's title and in the captions of its labels, buttons,
    // check boxes, frames, menus and menu items.
    void TranslateForm(QObject* window, const QString& context) const override;

    QString translate(const QString& caption, const QString& context) const;

  private:
    DatabaseManager* database_ = nullptr;
    QHash<QString, QString> terms_;
};

}  // namespace hvx
