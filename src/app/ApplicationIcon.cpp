#include "ApplicationIcon.h"

#include <QImageReader>
#include <QPixmap>

namespace hvx {

QIcon applicationIcon() {
    QIcon icon;
    for (const int size : {HVX_ICON_SIZES}) {
        // Named a PNG, not detected: detection would load every image format plugin to ask it.
        QImageReader reader(QStringLiteral(":/hvxmonitor-%1.png").arg(size), "png");
        reader.setAutoDetectImageFormat(false);
        icon.addPixmap(QPixmap::fromImage(reader.read()));
    }
    return icon;
}

}  // namespace hvx
