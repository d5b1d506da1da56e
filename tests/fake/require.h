// What a fuzzer, or the system that it makes up, requires of the code under test.

#ifndef FAKE_REQUIRE_H
#define FAKE_REQUIRE_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace fake {

/// Prints `what` and ends the process; a fuzzer then keeps the input.
[[noreturn]] inline void Fail(const char* what) {
  // Not through `stderr`, which may be captured, nor by abort(3), which may be contained.
  (void)dprintf(STDERR_FILENO, "broken: %s\n", what);
  __builtin_trap();
}

/// Fails unless `holds`.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    Fail(what);
  }
}

}  // namespace fake

#endif  // FAKE_REQUIRE_H
