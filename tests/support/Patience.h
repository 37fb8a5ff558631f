#pragma once

// How long a test waits for another process, or for what one does, before it gives up. A
// wait that succeeds ends at once, so this costs nothing when all is well; it is generous
// because on a busy machine (a build beside the tests, a sanitizer build) a program can take
// many times longer to start and answer than on a quiet one.
namespace hvx::test {
inline constexpr int kPatienceMs = 60'000;
}  // namespace hvx::test
