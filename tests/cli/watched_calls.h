// What the fault injector knows when the client makes a call: its settings, the calls
// that it can make fail, and the log that it writes.

#ifndef TESTS_CLI_WATCHED_CALLS_H
#define TESTS_CLI_WATCHED_CALLS_H

#include <dlfcn.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace injector {

inline constexpr int NO_LOG = -1;

enum Call {
  SIGNAL,
  CALLOC,
  MALLOC,
  STRDUP,
  SOCKET,
  SETSOCKOPT,
  CONNECT,
  SEND,
  RECV,
  READ,
  WRITE,
  FOPEN,
  CALL_COUNT
};
inline constexpr std::array<const char*, CALL_COUNT> NAMES = {
    "signal",  "calloc", "malloc", "strdup", "socket", "setsockopt",
    "connect", "send",   "recv",   "read",   "write",  "fopen"};

/// A setting of the form <call>:<occurrence>:<rest>.
struct Place {
  int call = CALL_COUNT;
  int occurrence = 0;
  const char* rest = "";
};

struct State {
  std::uintptr_t programBegin = 0;
  std::uintptr_t programEnd = 0;
  int log = NO_LOG;
  Place fault;
  Place gate;
  int receiveTimeoutMs = 0;  ///< 0: the client's own
  int socket = -1;           ///< the client's one descriptor of its own
  std::array<int, CALL_COUNT> seen{};
  std::array<const void*, 16> allocations{};  ///< in the order of their numbers
  std::size_t allocationCount = 0;
};
extern State state;

/// Whether a call that returns to this address was made by the program's own code.
bool IsFromProgram(const void* returnAddress);

/// The function that the injector's own one of this name stands in front of.
template <typename Function>
Function* Next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// One line of the log, put together on the stack. Leaves errno alone.
class Line {
 public:
  [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...);
  /// "socket" for the client's own one: which numbers are free when the client starts
  /// is not its concern.
  void AddDescriptor(int descriptor);
  void Write();

 private:
  std::array<char, 1024> text_{};
  std::size_t length_ = 0;
};

enum Effect { AS_ASKED, FAIL, SHORT };
struct Verdict {
  Effect effect = AS_ASKED;
  int number = 0;  ///< errno or most bytes
  bool held = false;
};

/// Counts a call of the program, holds it at the gate if it belongs there, and
/// returns what is to become of it.
Verdict Judge(Call call);

}  // namespace injector

#endif  // TESTS_CLI_WATCHED_CALLS_H
