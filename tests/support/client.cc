// One run, one daemon, one folder.

#include "tests/support/client.h"

#include <sys/socket.h>

#include <cstdlib>
#include <system_error>
#include <utility>

#include "tests/support/stream.h"
#include "tests/support/temp_folder.h"

namespace tests {

std::string ClientPath() {
  const char* path = std::getenv("TREL_TOOL");
  return path != nullptr ? path : TREL_TOOL_PATH;
}

bool ClientIsSanitized() { return TREL_SANITIZED && std::getenv("TREL_TOOL") == nullptr; }

bool ClientRunsBare() {
  return !ClientIsSanitized() && std::getenv("TREL_MEMCHECK_LOGS") == nullptr;
}

ScriptedDaemon::ScriptedDaemon(const std::string& path, std::vector<Step> steps)
    : listener_(path), thread_([this, steps = std::move(steps)] {
        try {
          standin::Descriptor connection = Accept(listener_);
          called_ = true;
          received_ = PlaySteps(std::move(connection), steps);
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

ClientResult RunClientAgainst(const ClientRun& run) {
  const TempFolder folder;
  ScriptedDaemon daemon(folder / "s", run.steps);
  ProcessSetup setup{.arguments = {"trel-tool", "-s", folder / "s"},
                     .environment = run.environment,
                     .program = ClientPath(),
                     .prepare = run.prepare,
                     .whileRunning = run.whileRunning};
  setup.arguments.insert(setup.arguments.end(), run.words.begin(), run.words.end());
  ClientResult result{RunProcess(setup), false, ""};
  result.called = daemon.WasCalled();
  result.request = daemon.Received();
  return result;
}

ProcessResult RunClientAlone(std::vector<std::string> words) {
  words.emplace(words.begin(), "trel-tool");
  return RunProcess({.arguments = std::move(words), .program = ClientPath()});
}

}  // namespace tests
