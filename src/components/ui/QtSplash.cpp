#include "QtSplash.h"

#include "Version.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>

#include <utility>

namespace hvx {

namespace {

// Drawn for the screen's own pixels: a picture enlarged from one made for a scale of 1 would
// blur its texts on a screen that scales the desktop.
QPixmap splashPicture(const QString& productName) {
    const qreal ratio = qApp->devicePixelRatio();
    QPixmap picture(QSize(420, 180) * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(QColor(0x1f, 0x3b, 0x5c));
    QPainter painter(&picture);
    painter.setPen(Qt::white);
    QFont title = painter.font();
    title.setPointSize(18);
    title.setBold(true);
    painter.setFont(title);
    painter.drawText(QRect(20, 40, 380, 50), Qt::AlignLeft | Qt::AlignVCenter, productName);
    QFont small = painter.font();
    small.setPointSize(10);
    small.setBold(false);
    painter.setFont(small);
    painter.drawText(QRect(20, 100, 380, 30), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Version %1").arg(QString::fromLatin1(version::kText)));
    painter.drawText(QRect(20, 130, 380, 30), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Starting..."));
    return picture;
}

}  // namespace

QtSplash::QtSplash(QString productName) : productName_(std::move(productName)) {}

QtSplash::~QtSplash() {
    CloseSplash();
}

void QtSplash::ShowSplash(long /*style*/) {
    if (!screen_) {
        screen_ = std::make_unique<QSplashScreen>(splashPicture(productName_));
    }
    screen_->show();
}

void QtSplash::CloseSplash() {
    if (screen_) {
        screen_->close();
        screen_.reset();
    }
}

}  // namespace hvx
