// One run, one daemon, one folder.

#include "tests/support/client.h"

#include <cstdlib>
#include <utility>

#include "tests/support/scripted_daemon.h"
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
