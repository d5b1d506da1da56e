// The C library that the client meets inside the process of a test or a fuzzer: a daemon
// whose bytes are given, streams and files in memory, a call that fails on demand. The
// client's calls end here and are written down; no descriptor, file or page of the system
// is touched. The client may end the process and leave memory to its end.
//
// A program that uses this is linked with fake_system, which hands over the client's calls.

#ifndef FAKE_SYSTEM_H
#define FAKE_SYSTEM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "client/payload.h"

namespace fake {

/// What comes after the daemon's last byte.
enum class HangUp {
  PLAIN,    ///< the end of the stream
  SILENCE,  ///< nothing: the time-out
  RESET,    ///< the daemon was gone before it had read all that the client sent
};

/// The bytes that the daemon sends, as a Unix stream socket delivers them.
struct DaemonBytes {
  std::string_view rest;
  std::size_t packetSize = 0;  ///< 0: no bounds in the stream
  HangUp ending = HangUp::PLAIN;

  struct Received {
    std::string_view bytes;
    int error = 0;  ///< an error number if there are no bytes, 0 at the end
  };

  /// What recv(2) with MSG_WAITALL receives, or read(2) if not `all`.
  [[nodiscard]] Received Take(std::size_t count, bool all);
};

/// A call that fails or falls short.
struct Fault {
  enum Effect {
    FAILS,  ///< and leaves errno at `number`
    SHORT,  ///< moves `number` bytes at most; setsockopt(2) sets nothing and returns it
  };
  std::string_view call = {};  ///< for example "send"; empty: none
  int occurrence = 1;          ///< which of these calls, from 1
  Effect effect = FAILS;
  int number = 0;
};

struct System {
  // What the client meets.
  DaemonBytes daemon = {};
  Fault fault = {};
  bool outputRefused = false;  ///< writing to standard output fails with EBADF
  /// An allocation of more bytes fails. It is more than any input of a fuzzer can fill.
  std::size_t allocationLimit = std::size_t{1} << 18;

  /// What the client does: each call as `name(arguments) = result`, the fault's with
  /// " injected" after it. Blocks of memory are #1, #2 and so on.
  std::vector<std::string> calls = {};
  std::string sent = {};
  std::string out = {};   ///< standard output, write(2) included
  std::string err = {};   ///< standard error
  std::string file = {};  ///< what was printed to the file
};

/// The socket of the daemon. No open file has this number.
inline constexpr int DAEMON_SOCKET = 1000000;

/// The system, the same object in every run.
[[nodiscard]] System& TheSystem();

/// What fopen(3) opens: prints into `file`.
[[nodiscard]] std::FILE* FileStream();

/// Makes it as good as new; its strings keep their memory.
void ResetSystem();

/// While this lives, `stdout` and `stderr` are the system's. What was printed is in
/// its strings when this ends; what a stream could not print is dropped.
class PrintingIntoSystem {
 public:
  PrintingIntoSystem();
  ~PrintingIntoSystem();
  PrintingIntoSystem(const PrintingIntoSystem&) = delete;
  PrintingIntoSystem& operator=(const PrintingIntoSystem&) = delete;
};

/// How the client came back.
enum class Ending { RETURNED, EXITED, ABORTED };

struct Outcome {
  Ending ending = Ending::RETURNED;
  int exitValue = 0;           ///< of exit(3), when that was called
  std::size_t blocksHeld = 0;  ///< allocated and not released by then
};

[[nodiscard]] Outcome ContainCall(void (*call)(void*), void* piece);

/// Runs `piece`, a callable without arguments, in the system. exit(3) and abort(3) come
/// back here; blocks that the piece has not released are counted, then released.
template <typename Piece>
[[nodiscard]] Outcome Contain(Piece piece) {
  return ContainCall([](void* held) { (*static_cast<Piece*>(held))(); }, &piece);
}

struct RunOutcome : Outcome {
  std::uint32_t status = 0;  ///< of a run that has returned
};

/// Runs the client's entry function in the system. `words` begin with the program's name.
[[nodiscard]] RunOutcome RunClient(const std::vector<char*>& words, trel::LargeRequests& requests);

}  // namespace fake

#endif  // FAKE_SYSTEM_H
