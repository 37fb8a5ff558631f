#pragma once

#include "platform/Clock.h"

namespace hvx {

// The machine's local time, to the whole second.
class SystemClock final : public Clock {
  public:
    DateValue now() const override;
    std::int64_t milliseconds() const override;
};

}  // namespace hvx
