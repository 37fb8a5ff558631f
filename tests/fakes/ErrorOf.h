#pragma once

#include "platform/RuntimeError.h"

namespace hvx::test {

// The error number that `action` raises, or 0 when it raises none.
template <typename Action>
long errorOf(Action action) {
    try {
        action();
    } catch (const RuntimeError& error) {
        return error.number();
    }
    return 0;
}

}  // namespace hvx::test
