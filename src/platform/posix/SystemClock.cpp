#include "SystemClock.h"

#include <QDateTime>

namespace hvx {

DateValue SystemClock::now() const {
    return DateValue::fromDateTime(QDateTime::currentDateTime());
}

}  // namespace hvx
