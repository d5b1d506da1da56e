// Runs the real client with the fault injector between it and the C library.

#ifndef TESTS_CLI_INJECTED_RUN_H
#define TESTS_CLI_INJECTED_RUN_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "core/steps.h"
#include "support/client.h"
#include "support/temp_folder.h"

namespace tests {

/// Holds the client before one chosen call until the daemon's steps let it pass,
/// so that what the daemon does first is done when the call is made.
class Gate {
 public:
  /// `place`: call and occurrence, for example "recv:1".
  explicit Gate(std::string place);
  ~Gate();
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// Steps: waits until the client stands before the call; lets it go on.
  [[nodiscard]] standin::Call AwaitClient();
  [[nodiscard]] standin::Call LetClientPass();

  /// What the environment variable TREL_GATE says.
  [[nodiscard]] std::string Setting() const;
  /// For a client that has ended: frees steps that still wait for it.
  void GiveUp();

 private:
  TempFolder folder_;
  std::string place_;
  int writer_ = -1;
  int reader_ = -1;
};

struct InjectedRun {
  std::vector<std::string> words;         ///< after `trel-tool -s <socket>`
  std::vector<standin::Step> steps = {};  ///< what the daemon does
  std::string fault = {};                 ///< for example "send:2:errno=32"; empty: none
  Gate* gate = nullptr;
  std::chrono::milliseconds receiveTimeout = {};  ///< 0: the client's own
  std::function<void()> prepare = {};
  std::function<void(pid_t)> whileRunning = {};
};

struct InjectedResult : ClientResult {
  /// The client's calls in order; a temporary folder's path reads <folder>.
  std::vector<std::string> calls;
};

/// Runs the client to its end. The test fails if the client never makes the call
/// that the fault or the gate is for.
[[nodiscard]] InjectedResult RunInjected(const InjectedRun& run);

/// The names of the calls after the one with the injected fault, with a blank
/// between them.
[[nodiscard]] std::string NamesAfterFault(const InjectedResult& result);

}  // namespace tests

#endif  // TESTS_CLI_INJECTED_RUN_H
