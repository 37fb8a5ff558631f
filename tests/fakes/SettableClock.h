#pragma once

#include "platform/Clock.h"

namespace hvx::test {

// A clock that stands still until a test moves it.
class SettableClock final : public Clock {
  public:
    explicit SettableClock(DateValue start = DateValue::fromParts({2026, 11, 23}, {10, 0, 0}))
        : now_(start) {}

    DateValue now() const override { return now_; }
    void set(DateValue when) { now_ = when; }
    void set(const QTime& time) { now_ = DateValue::fromParts(now_.date(), time); }
    void advanceSeconds(std::int64_t seconds) { now_ = now_.addSeconds(seconds); }
    void advanceMilliseconds(std::int64_t milliseconds) {
        milliseconds_ += milliseconds;
        advanceSeconds(milliseconds_ / 1000);
        milliseconds_ %= 1000;
    }
    std::int64_t milliseconds() const override {
        return now_.secondsSinceZero() * 1000 + milliseconds_;
    }

  private:
    DateValue now_;
    std::int64_t milliseconds_ = 0;
};

}  // namespace hvx::test
