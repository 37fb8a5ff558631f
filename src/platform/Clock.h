#pragma once

#include "DateValue.h"

#include <cstdint>

namespace hvx {

// Now, as a naive local date and time with whole seconds. Every decision that depends on
// time asks a Clock, so tests can set the time instead of waiting for it.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual DateValue now() const = 0;
    // A steady count of milliseconds, for measuring waits shorter than a second or two.
    virtual std::int64_t milliseconds() const = 0;
};

}  // namespace hvx
