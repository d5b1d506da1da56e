// The command line of trel-standin.

#ifndef STANDIN_OPTIONS_H
#define STANDIN_OPTIONS_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace standin {

struct Limits {
  std::size_t maxConnections = 0;         ///< at once; 0: as many as descriptors allow
  std::optional<std::uint64_t> count;     ///< connections to serve before the end
  std::uint64_t maxPayload = 16U << 20U;  ///< bytes
  std::chrono::milliseconds idleTime{};   ///< of silence within a request; 0: no limit
};

struct Options {
  std::string socketPath;
  mode_t mode{};
  std::string scriptPath;  ///< empty: none
  bool checkOnly = false;
  std::string forwardPath;  ///< empty: reply, do not forward
  std::string handler;      ///< for sh(1); empty: none
  std::chrono::seconds handlerPatience{};
  std::string logPath;      ///< empty: standard output
  std::string recordPath;   ///< empty: none
  std::string capturePath;  ///< empty: none
  bool hex = false;
  Limits limits;
  std::chrono::milliseconds timeout{};  ///< of the whole run; 0: none
  std::vector<std::string> command;     ///< after "--"
};

/// How the program ends, unless with the exit value of its command; --help and the manual
/// list these. The last three are those of timeout(1) and env(1).
enum ExitValue : int {
  EXIT_OK = 0,
  EXIT_RUN_FAILED = 1,
  EXIT_USAGE = 2,
  EXIT_NOT_FOLLOWED = 3,
  EXIT_HANDLER_FAILED = 4,
  EXIT_TIMED_OUT = 124,
  EXIT_CANNOT_START = 126,
  EXIT_NOT_FOUND = 127,
  EXIT_SIGNAL = 128,  ///< plus the number of the signal that ended the command
};

/// Reads the command line into `options`. The exit value if the program is to end
/// at once: after --help or --version, or on a mistake, which has been reported.
[[nodiscard]] std::optional<int> ReadOptions(int argc, char** argv, Options& options);

}  // namespace standin

#endif  // STANDIN_OPTIONS_H
