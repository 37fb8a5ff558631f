#include "DatabaseTermTranslator.h"

#include "components/SqlLiteralFormatters.h"
#include "platform/DatabaseManager.h"

#include <QAbstractButton>
#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QRegularExpression>
#include <QWidget>

namespace hvx {

void DatabaseTermTranslator::LoadLanguage(const QString& language, long /*options*/) {
    if (database_ == nullptr) {
        return;
    }
    SqlLiteralStringFormatter text;
    text.SetDatabaseType(database_->DatabaseType());
    auto rows = database_->OpenRecordset(
        QStringLiteral("select TermKey, TermText from Terms where Language = ") +
        text.FormatText(language));
    if (!rows) {
        return;
    }
    terms_.clear();
    while (!rows->AtEnd()) {
        terms_.insert(rows->Field(0).toString().toUpper(), rows->Field(1).toString());
        rows->MoveNext();
    }
    rows->Close();
}

QString DatabaseTermTranslator::GetTerm(const QString& key, const QString& /*context*/) const {
    return terms_.value(key.toUpper(), key);
}

QString DatabaseTermTranslator::translate(const QString& caption, const QString& context) const {
    static const QRegularExpression placeholder(QStringLiteral(R"(\[\[([^\[\]]+)\]\])"));
    QString result;
    qsizetype from = 0;
    auto matches = placeholder.globalMatch(caption);
    while (matches.hasNext()) {
        const auto match = matches.next();
        result += caption.mid(from, match.capturedStart() - from);
        result += GetTerm(match.captured(1), context);
        from = match.capturedEnd();
    }
    return result + caption.mid(from);
}

void DatabaseTermTranslator::TranslateForm(QObject* window, const QString& context) const {
    if (window == nullptr) {
        return;
    }
    if (auto* widget = qobject_cast<QWidget*>(window)) {
        widget->setWindowTitle(translate(widget->windowTitle(), context));
    }
    for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
        button->setText(translate(button->text(), context));
    }
    for (QLabel* label : window->findChildren<QLabel*>()) {
        label->setText(translate(label->text(), context));
    }
    for (QGroupBox* frame : window->findChildren<QGroupBox*>()) {
        frame->setTitle(translate(frame->title(), context));
    }
    for (QMenu* menu : window->findChildren<QMenu*>()) {
        menu->setTitle(translate(menu->title(), context));
    }
    for (QAction* action : window->findChildren<QAction*>()) {
        action->setText(translate(action->text(), context));
    }
}

}  // namespace hvx
