#include "PasswordConcealment.h"

#include <QRegularExpression>

namespace hvx {

namespace {

const QString kMask = QStringLiteral("********");

}  // namespace

QString concealPassword(QString text, const QString& password) {
    // A field's value runs to the next ';' or, braced, to the closing brace ("}}" is a brace
    // inside the value).
    static const QRegularExpression field(
        QStringLiteral(R"((\b(?:pwd|password)\s*=\s*)(\{(?:[^}]|\}\})*\}?|[^;]*))"),
        QRegularExpression::CaseInsensitiveOption);
    text.replace(field, QStringLiteral("\\1") + kMask);
    if (password.size() >= kMinimumConcealedPasswordLength) {
        text.replace(password, kMask);
    }
    return text;
}

}  // namespace hvx
