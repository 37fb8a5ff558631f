#pragma once

#include "DateValue.h"

namespace hvx {

// Now, as a naive local date and time with whole seconds. Every decision that depends on
// time asks a Clock, so tests can set the time instead of waiting for it.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual DateValue now() const = 0;
};

}  // namespace hvx
