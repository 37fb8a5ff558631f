#include "SystemClock.h"

#include <QDateTime>

#include <chrono>

namespace hvx {

DateValue SystemClock::now() const {
    return DateValue::fromDateTime(QDateTime::currentDateTime());
}

std::int64_t SystemClock::milliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace hvx
