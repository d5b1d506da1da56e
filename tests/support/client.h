// Runs the real client binary, alone or against a daemon for one client whose every byte the test
// writes down.

#ifndef TESTS_SUPPORT_CLIENT_H
#define TESTS_SUPPORT_CLIENT_H

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "core/unix_socket.h"
#include "tests/support/process.h"
#include "tests/support/steps.h"

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

/// Listens on `path` from construction on, accepts one client and plays `steps`
/// to it. A client that never comes is waited for until destruction.
class ScriptedDaemon {
 public:
  ScriptedDaemon(const std::string& path, std::vector<Step> steps);
  ~ScriptedDaemon();
  ScriptedDaemon(const ScriptedDaemon&) = delete;
  ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;

  /// Waits for the last step and returns all bytes that the client sent and a step
  /// has read. If no client has come, none will: returns an empty text at once.
  [[nodiscard]] std::string Received();

  /// Like Received, and tells whether a client has come at all.
  [[nodiscard]] bool WasCalled();

 private:
  void Finish();

  standin::UnixListener listener_;
  bool called_ = false;
  std::string received_;
  std::thread thread_;
};

struct ClientResult : ProcessResult {
  bool called = false;  ///< whether the client connected
  std::string request;  ///< what the steps read of its bytes
};

struct ClientRun {
  std::vector<std::string> words;  ///< after `trel-tool -s <socket>`
  std::vector<Step> steps = {};    ///< what the daemon does
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
