// Runs the real client binary against a scripted daemon.

#ifndef TESTS_SUPPORT_CLIENT_H
#define TESTS_SUPPORT_CLIENT_H

#include <functional>
#include <string>
#include <vector>

#include "core/steps.h"
#include "tests/support/process.h"

namespace tests {

/// Path of the binary under test: the environment's TREL_TOOL, so that an
/// installed client can be tested too, else the one of this build.
[[nodiscard]] std::string ClientPath();

/// Whether the client under test is the one of this build and runs under sanitizers,
/// which take address space and calls of their own.
[[nodiscard]] bool ClientIsSanitized();

/// Whether nothing stands between the client under test and the system: no sanitizer,
/// no memory checker.
[[nodiscard]] bool ClientRunsBare();

struct ClientResult : ProcessResult {
  bool called = false;  ///< whether the client connected
  std::string request;  ///< what the steps read of its bytes
};

struct ClientRun {
  std::vector<std::string> words;         ///< after `trel-tool -s <socket>`
  std::vector<standin::Step> steps = {};  ///< what the daemon does
  std::vector<std::string> environment = {};
  std::function<void()> prepare = {};
  std::function<void(pid_t)> whileRunning = {};
};

/// Runs the client as `trel-tool -s <socket> <words>` with a daemon on the socket.
[[nodiscard]] ClientResult RunClientAgainst(const ClientRun& run);

/// Runs the client with exactly these words after its name, no daemon around.
[[nodiscard]] ProcessResult RunClientAlone(std::vector<std::string> words);

}  // namespace tests

#endif  // TESTS_SUPPORT_CLIENT_H
