// The injector's settings travel in the environment, its log in a file.

#include "cli/injected_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <regex>
#include <system_error>
#include <utility>

namespace tests {
namespace {

std::vector<std::string> ReadCalls(const std::string& path) {
  static const std::regex folder("[^\"]*/trel\\.[A-Za-z0-9]{6}/");
  std::vector<std::string> calls;
  std::ifstream log(path);
  for (std::string line; std::getline(log, line);) {
    calls.push_back(std::regex_replace(line, folder, "<folder>/"));
  }
  return calls;
}

bool IsMarked(const std::string& call, const std::string& mark) {
  return call.find(mark, call.rfind(" = ")) != std::string::npos;
}

void ExpectOneMarked(const std::vector<std::string>& calls, const std::string& mark) {
  int count = 0;
  for (const std::string& call : calls) {
    count += IsMarked(call, mark) ? 1 : 0;
  }
  EXPECT_EQ(count, 1) << "calls with the mark" << mark << "; the client made:\n"
                      << testing::PrintToString(calls);
}

}  // namespace

Gate::Gate(std::string place) : place_(std::move(place)) {
  if (mkfifo((folder_ / "gate").c_str(), 0600) != 0) {
    throw std::system_error(errno, std::generic_category(), "mkfifo");
  }
}

Gate::~Gate() {
  close(writer_);
  close(reader_);
}

standin::Call Gate::AwaitClient() {
  // Opening a FIFO for writing returns when the client has opened it for reading.
  return {[this](int /*connection*/) {
    writer_ = open((folder_ / "gate").c_str(), O_WRONLY | O_CLOEXEC);
  }};
}

standin::Call Gate::LetClientPass() {
  return {[this](int /*connection*/) { close(std::exchange(writer_, -1)); }};
}

std::string Gate::Setting() const { return "TREL_GATE=" + place_ + ":" + (folder_ / "gate"); }

void Gate::GiveUp() {
  reader_ = open((folder_ / "gate").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

InjectedResult RunInjected(const InjectedRun& run) {
  const TempFolder folder;
  // By its descriptor: the loader splits the variable at blanks, which the path may have.
  const standin::Descriptor injector(open(TREL_FAULT_INJECTOR, O_RDONLY));
  std::vector<std::string> environment = {
      "LD_PRELOAD=/proc/self/fd/" + std::to_string(injector.Get()),
      "TREL_CALL_LOG=" + (folder / "calls")};
  if (!run.fault.empty()) {
    environment.push_back("TREL_FAULT=" + run.fault);
  }
  if (run.gate != nullptr) {
    environment.push_back(run.gate->Setting());
  }
  if (run.receiveTimeout.count() != 0) {
    environment.push_back("TREL_RECEIVE_TIMEOUT_MS=" + std::to_string(run.receiveTimeout.count()));
  }
  const auto whileRunning = [&run](pid_t client) {
    if (run.whileRunning) {
      run.whileRunning(client);
    }
    if (run.gate != nullptr) {
      siginfo_t ignored{};
      waitid(P_PID, static_cast<id_t>(client), &ignored, WEXITED | WNOWAIT);
      run.gate->GiveUp();
    }
  };
  InjectedResult result{RunClientAgainst({.words = run.words,
                                          .steps = run.steps,
                                          .environment = environment,
                                          .prepare = run.prepare,
                                          .whileRunning = whileRunning}),
                        {}};
  result.calls = ReadCalls(folder / "calls");
  if (!run.fault.empty()) {
    ExpectOneMarked(result.calls, " injected");
  }
  if (run.gate != nullptr) {
    ExpectOneMarked(result.calls, " held");
  }
  return result;
}

std::string NamesAfterFault(const InjectedResult& result) {
  std::string names;
  bool after = false;
  for (const std::string& call : result.calls) {
    if (after) {
      names += (names.empty() ? "" : " ") + call.substr(0, call.find('('));
    }
    after = after || IsMarked(call, " injected");
  }
  return names;
}

}  // namespace tests
