#include "MonitorOnScreen.h"

#include <QFile>

namespace hvx::test {

MonitorOnScreen::MonitorOnScreen(const QString& name) : Installation(name) {
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.remove(QStringLiteral("HVX_UNATTENDED"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("HVX_CLOCK_SHIFT_FILE"),
                       dir.filePath(QStringLiteral("clock-shift")));
    shiftClock(0);
    ready_ = createDatabase(app, true);
}

void MonitorOnScreen::shiftClock(qint64 seconds) const {
    QFile file(dir.filePath(QStringLiteral("clock-shift")));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QByteArray::number(seconds));
    }
}

void MonitorOnScreen::start(qreal scale) {
    environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QString::number(scale));
    startMonitor();
}

}  // namespace hvx::test
