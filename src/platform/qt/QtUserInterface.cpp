#include "QtUserInterface.h"

#include <QApplication>
#include <QEventLoop>
#include <QTimer>

namespace hvx {

QtUserInterface::~QtUserInterface() {
    setWaitCursor(false);
}

void QtUserInterface::processEvents() {
    QCoreApplication::processEvents();
}

void QtUserInterface::waitForEvents(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

void QtUserInterface::setWaitCursor(bool waiting) {
    if (waiting == waiting_ ||
        qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) {
        return;
    }
    waiting_ = waiting;
    if (waiting) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else {
        QApplication::restoreOverrideCursor();
    }
}

}  // namespace hvx
