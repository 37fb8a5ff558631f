#pragma once

#include "platform/Clock.h"

#include <QString>

namespace hvx {

// The machine's local time, to the whole second.
//
// For tests of the real programs, HVX_CLOCK_SHIFT_FILE may name a file that holds a number
// of seconds to add; it is read at every call, so a running program can be moved forward in
// time (an uptime of many hours without the wait). Without the variable nothing is read.
class SystemClock final : public Clock {
  public:
    SystemClock();
    DateValue now() const override;
    std::int64_t milliseconds() const override;

  private:
    QString shiftFile_;
};

}  // namespace hvx
