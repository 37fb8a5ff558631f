#include "MessagePictureStyle.h"

#include <QIcon>

namespace hvx {

namespace {

// The freedesktop icon name of a message picture, or nullptr.
const char* iconNameOf(QStyle::StandardPixmap picture) {
    switch (picture) {
        case QStyle::SP_MessageBoxWarning:
            return "dialog-warning";
        case QStyle::SP_MessageBoxQuestion:
            return "dialog-question";
        case QStyle::SP_MessageBoxInformation:
            return "dialog-information";
        case QStyle::SP_MessageBoxCritical:
            return "dialog-error";
        default:
            return nullptr;
    }
}

}  // namespace

QIcon MessagePictureStyle::standardIcon(StandardPixmap picture, const QStyleOption* option,
                                        const QWidget* widget) const {
    if (const char* name = iconNameOf(picture)) {
        const QString icon = QString::fromLatin1(name);
        return QIcon::fromTheme(
            icon, QIcon(QStringLiteral(":/pictures/") + icon + QStringLiteral(".svg")));
    }
    return QProxyStyle::standardIcon(picture, option, widget);
}

}  // namespace hvx
