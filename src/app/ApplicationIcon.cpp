#include "ApplicationIcon.h"

namespace hvx {

QIcon applicationIcon() {
    QIcon icon;
    for (const int size : {HVX_ICON_SIZES}) {
        icon.addFile(QStringLiteral(":/hvxmonitor-%1.png").arg(size), QSize(size, size));
    }
    return icon;
}

}  // namespace hvx
