// Runs a program to its end and tells all that it printed and how it ended.

#ifndef TESTS_SUPPORT_PROCESS_H
#define TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tests {

struct ProcessResult {
  std::string out;
  std::string err;
  int exitValue = -1;  ///< -1 if a signal ended the program
  int signal = 0;      ///< 0 if the program exited
  /// Peak resident memory, that of the new process before it became the program
  /// included: no less than what the test itself holds.
  long maxRssKib = 0;
};

struct ProcessSetup {
  std::vector<std::string> arguments;         ///< the program's name first
  std::vector<std::string> environment = {};  ///< NAME=value, added to ours
  /// Path that is executed; empty: the first argument.
  std::string program = {};
  /// Called in the new process just before the program starts. Must not allocate.
  std::function<void()> prepare = {};
  /// Called with the new process's number while it runs.
  std::function<void(pid_t)> whileRunning = {};
};

/// Runs the program without standard input and waits for its end.
[[nodiscard]] ProcessResult RunProcess(const ProcessSetup& setup);

}  // namespace tests

#endif  // TESTS_SUPPORT_PROCESS_H
