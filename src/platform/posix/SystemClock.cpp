#include "SystemClock.h"

#include <QDateTime>
#include <QFile>

#include <chrono>

namespace hvx {

SystemClock::SystemClock() : shiftFile_(qEnvironmentVariable("HVX_CLOCK_SHIFT_FILE")) {}

DateValue SystemClock::now() const {
    QDateTime now = QDateTime::currentDateTime();
    if (!shiftFile_.isEmpty()) {
        QFile shift(shiftFile_);
        if (shift.open(QIODevice::ReadOnly)) {
            now = now.addSecs(shift.read(32).trimmed().toLongLong());
        }
    }
    return DateValue::fromDateTime(now);
}

std::int64_t SystemClock::milliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace hvx
