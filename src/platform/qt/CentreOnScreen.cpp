#include "CentreOnScreen.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace hvx {

namespace {

QMargins frameOf(QWidget& window) {
    window.winId();
    if (const QWindow* handle = window.windowHandle();
        handle != nullptr && !handle->frameMargins().isNull()) {
        return handle->frameMargins();
    }
    for (const QWidget* other : QApplication::topLevelWidgets()) {
        if (other != &window && other->isVisible() && other->windowHandle() != nullptr &&
            !other->windowHandle()->frameMargins().isNull()) {
            return other->windowHandle()->frameMargins();
        }
    }
    return {};
}

}  // namespace

void centreOnScreen(QWidget& window) {
    const QScreen* screen = window.screen();
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen == nullptr) {
        return;
    }
    const QSize outer = window.size().grownBy(frameOf(window));
    const QRect area = screen->geometry();
    // The position of a top-level window is that of its frame.
    window.move(area.x() + (area.width() - outer.width()) / 2,
                area.y() + (area.height() - outer.height()) / 2);
}

}  // namespace hvx
