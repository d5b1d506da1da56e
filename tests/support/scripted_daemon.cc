// The daemon's thread, and how it ends when nobody calls.

#include "tests/support/scripted_daemon.h"

#include <sys/socket.h>

#include <system_error>
#include <utility>

namespace tests {

ScriptedDaemon::ScriptedDaemon(const std::string& path, std::vector<standin::Step> steps)
    : listener_(path), thread_([this, steps = std::move(steps)] {
        try {
          standin::Descriptor connection = listener_.Accept();
          called_ = true;
          received_ = standin::PlaySteps(std::move(connection), steps);
        } catch (const std::system_error&) {
          // The listener was shut down: nobody has called.
        }
      }) {}

ScriptedDaemon::~ScriptedDaemon() { Finish(); }

void ScriptedDaemon::Finish() {
  if (thread_.joinable()) {
    // Clients in the queue are still served; without one, accept fails.
    shutdown(listener_.Fd(), SHUT_RD);
    thread_.join();
  }
}

std::string ScriptedDaemon::Received() {
  Finish();
  return received_;
}

bool ScriptedDaemon::WasCalled() {
  Finish();
  return called_;
}

}  // namespace tests
