// Runs a program; returns all that it printed and how it ended.

#ifndef TESTS_SUPPORT_PROCESS_H
#define TESTS_SUPPORT_PROCESS_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "core/descriptor.h"

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
  std::vector<std::string> environment = {};  ///< NAME=value, see RunningProcess
  /// Path that is executed; empty: the first argument.
  std::string program = {};
  /// Called in the new process just before the program starts. Must not allocate.
  std::function<void()> prepare = {};
  /// Called with the new process's number while it runs.
  std::function<void(pid_t)> whileRunning = {};
};

/// A program that runs without standard input, what it prints kept in files. Whatever the caller
/// of the tests has set, the program starts with every signal at its default and none
/// blocked, with umask 022, and with few variables in its environment: those of the
/// setup, and of ours PATH, HOME, TMPDIR and what checkers and the tests themselves read.
class RunningProcess {
 public:
  explicit RunningProcess(const ProcessSetup& setup);

  [[nodiscard]] pid_t Number() const { return number_; }
  /// Waits for its end, once.
  [[nodiscard]] ProcessResult Wait() const;

 private:
  standin::Descriptor out_;
  standin::Descriptor err_;
  pid_t number_ = -1;
};

/// Runs the program to its end.
[[nodiscard]] ProcessResult RunProcess(const ProcessSetup& setup);

/// Whether the program has printed just this and exited with this value; says what differs.
[[nodiscard]] testing::AssertionResult Ended(const ProcessResult& run, const std::string& out,
                                             const std::string& err, int exitValue);

}  // namespace tests

#endif  // TESTS_SUPPORT_PROCESS_H
