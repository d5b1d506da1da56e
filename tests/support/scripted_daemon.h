// A daemon for one client whose every byte the test writes down.

#ifndef TESTS_SUPPORT_SCRIPTED_DAEMON_H
#define TESTS_SUPPORT_SCRIPTED_DAEMON_H

#include <string>
#include <thread>
#include <vector>

#include "core/steps.h"
#include "core/unix_socket.h"

namespace tests {

/// Listens on `path` from construction on, accepts one client and plays `steps`
/// to it. A client that never comes is waited for until destruction.
class ScriptedDaemon {
 public:
  ScriptedDaemon(const std::string& path, std::vector<standin::Step> steps);
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

}  // namespace tests

#endif  // TESTS_SUPPORT_SCRIPTED_DAEMON_H
