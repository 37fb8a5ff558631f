#include "SystemClock.h"

#include <QDate>
#include <QFile>
#include <QTime>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace hvx {

SystemClock::SystemClock() : shiftFile_(qEnvironmentVariable("HVX_CLOCK_SHIFT_FILE")) {}

// The C library's own conversion: asked several times a second, QDateTime's costs more than
// everything else the clock does. The zone is the one read at the first call (see app/main.cpp).
DateValue SystemClock::now() const {
    std::time_t seconds = std::time(nullptr);
    if (!shiftFile_.isEmpty()) {
        QFile shift(shiftFile_);
        if (shift.open(QIODevice::ReadOnly)) {
            seconds += static_cast<std::time_t>(shift.read(32).trimmed().toLongLong());
        }
    }
    std::tm local{};
    localtime_r(&seconds, &local);
    // A leap second counts as the second before it.
    return DateValue::fromParts(QDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                                QTime(local.tm_hour, local.tm_min, std::min(local.tm_sec, 59)));
}

std::int64_t SystemClock::milliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace hvx
