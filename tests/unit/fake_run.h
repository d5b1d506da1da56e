// One run of the client's entry function in a made-up system.

#ifndef TESTS_UNIT_FAKE_RUN_H
#define TESTS_UNIT_FAKE_RUN_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/frame.h"
#include "fake/system.h"
#include "support/command_samples.h"
#include "unit/command_line.h"

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

/// Runs `trel-tool -s /s <words>` against a daemon that sends `reply`. The test fails if
/// the client never makes the call that the fault is for.
[[nodiscard]] inline FakeRun RunInFakeSystem(std::vector<std::string> words,
                                             const std::string& reply,
                                             const fake::Fault& fault = {}) {
  words.insert(words.begin(), {"-s", "/s"});
  CommandLine line(std::move(words));
  fake::ResetSystem();
  fake::System& system = fake::TheSystem();
  system.daemon = {.rest = reply};
  system.fault = fault;
  const auto requests = std::make_unique<trel::LargeRequests>();
  FakeRun run;
  static_cast<fake::RunOutcome&>(run) =
      fake::RunClient({line.Vector(), line.Vector() + line.Count()}, *requests);
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
