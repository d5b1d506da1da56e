// The system that contained pieces of the client meet: a daemon whose bytes are
// given, streams and files in memory. The client's calls end here and are written
// down; no descriptor, file or page is obtained for an input.

#ifndef FUZZ_FAKE_SYSTEM_H
#define FUZZ_FAKE_SYSTEM_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

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

struct FakeSystem {
  // What the client meets.
  DaemonBytes daemon;
  int fileError = 0;           ///< of fopen(3); 0: it opens `file` for writing
  bool outputRefused = false;  ///< writing to standard output fails with EBADF

  // What the client does.
  int sockets = 0;
  int connects = 0;
  int receives = 0;
  long timeoutSeconds = -1;
  std::string address;  ///< all bytes that connect(2) was given
  std::string sent;
  std::vector<std::size_t> sendSizes;
  std::string out;       ///< standard output, write(2) included
  std::string err;       ///< standard error
  std::string filePath;  ///< of fopen(3)
  std::string file;      ///< what was printed to the file
};

/// The socket of the fake daemon. No open file has this number.
inline constexpr int DAEMON_SOCKET = 1000000;

/// The system, the same object in every run.
[[nodiscard]] FakeSystem& System();

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

}  // namespace fuzz

#endif  // FUZZ_FAKE_SYSTEM_H
