// One run of the client's entry function in a made-up system.

#ifndef TESTS_UNIT_FAKE_RUN_H
#define TESTS_UNIT_FAKE_RUN_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "core/frame.h"
#include "fake/system.h"
#include "support/command_samples.h"

namespace tests {

struct FakeRun : fake::RunOutcome {
  std::vector<std::string> calls;
  std::string sent;
  std::string out;
  std::string err;
  std::string file;
};

/// A daemon that says "ok" whatever becomes of the request.
[[nodiscard]] inline std::string OkReply(const CommandSample& sample) {
  return sample.mode == ReplyMode::STREAM ? "ok" : standin::EncodeFrame(0, "ok");
}

/// A well-formed list of `count` entries.
[[nodiscard]] inline std::string UuidList(std::size_t count) {
  std::string list;
  for (std::size_t entry = 0; entry < count; ++entry) {
    list += entry == 0 ? "" : ",";
    list += "01234567-89ab-cdef-0123-456789abcdef";
  }
  return list;
}

/// Runs `trel-tool -s /s <words>` against a daemon that sends `reply`; other words may come
/// first. The test fails if the client never makes the call that the fault is for.
[[nodiscard]] inline FakeRun RunInFakeSystem(std::vector<std::string> words,
                                             const std::string& reply,
                                             const fake::Fault& fault = {},
                                             const std::vector<std::string>& first = {"-s", "/s"}) {
  words.insert(words.begin(), first.begin(), first.end());
  words.insert(words.begin(), "trel-tool");
  std::vector<char*> pointers;
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  unsetenv("POSIXLY_CORRECT");  // of the tests' caller
  fake::ResetSystem();
  fake::System& system = fake::TheSystem();
  system.daemon = {.rest = reply};
  system.fault = fault;
  const auto requests = std::make_unique<trel::LargeRequests>();
  FakeRun run;
  static_cast<fake::RunOutcome&>(run) = fake::RunClient(pointers, *requests);
  EXPECT_LE(system.fault.occurrence, fault.call.empty() ? 1 : 0) << "no such call: " << fault.call;
  run.calls = system.calls;
  run.sent = system.sent;
  run.out = system.out;
  run.err = system.err;
  run.file = system.file;
  return run;
}

}  // namespace tests

#endif  // TESTS_UNIT_FAKE_RUN_H
