// Watches and scripts the C library calls of the code under test. The linker sends
// each of these calls here (--wrap): calloc, connect, fopen, free, malloc, puts,
// read, recv, send, setsockopt, signal, socket, strdup, write.

#ifndef TESTS_UNIT_WRAPPED_CALLS_H
#define TESTS_UNIT_WRAPPED_CALLS_H

#include <string>
#include <vector>

namespace tests {

/// What a scripted call does instead of the real one.
struct ScriptedResult {
  long result = -1;        ///< for pointers: 0 is null, anything else the real call
  int error = 0;           ///< value of errno afterwards
  std::string bytes = "";  ///< what recv and read put into the buffer
};

/// While one of these lives, calls are written down and scripted results are
/// handed out; without one, every call goes through unseen. Not more than one.
class WrappedCalls {
 public:
  WrappedCalls();
  ~WrappedCalls();
  WrappedCalls(const WrappedCalls&) = delete;
  WrappedCalls& operator=(const WrappedCalls&) = delete;

  /// The next call of `name` that has no result yet gets this one. When a call has
  /// no scripted result, the real one is made.
  WrappedCalls& Script(const std::string& name, const ScriptedResult& result);

  /// The calls of `names` so far, in order, with their arguments; of all names if
  /// none is given. Sent bytes are in hexadecimal, up to 64 of them.
  [[nodiscard]] std::vector<std::string> Seen(const std::vector<std::string>& names = {}) const;

  /// How many scripted results no call has taken.
  [[nodiscard]] std::size_t Left() const;
};

}  // namespace tests

#endif  // TESTS_UNIT_WRAPPED_CALLS_H
