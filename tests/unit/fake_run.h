// One run of the client's entry function in a made-up system.

#ifndef TESTS_UNIT_FAKE_RUN_H
#define TESTS_UNIT_FAKE_RUN_H

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/frame.h"
#include "tests/fake/system.h"
#include "tests/support/bytes.h"
#include "tests/support/command_samples.h"
#include "tests/support/temp_folder.h"

namespace tests {

struct FakeRun : fake::RunOutcome {
  std::vector<std::string> calls;
  std::string sent;
  std::string out;
  std::string err;
  std::string file;
};

/// The words of a command line, one after the other in memory as the system puts them, until the
/// next call. The last one's terminator is the last byte that may be read.
[[nodiscard]] inline std::vector<char*> GuardedWords(const std::vector<std::string>& words) {
  constexpr std::size_t PAGE = 4096;
  constexpr std::size_t SIZE = 256 * PAGE;
  static char* const END = [] {
    void* memory =
        mmap(nullptr, SIZE + PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* end = static_cast<char*>(memory) + SIZE;
    EXPECT_EQ(mprotect(end, PAGE, PROT_NONE), 0);
    return end;
  }();
  std::vector<char*> pointers(words.size());
  char* place = END;
  for (std::size_t index = words.size(); index-- > 0;) {
    place -= words[index].size() + 1;
    std::memcpy(place, words[index].c_str(), words[index].size() + 1);
    pointers[index] = place;
  }
  return pointers;
}

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

/// Runs `trel-tool -s /s <words>` against a daemon that sends `reply`; another name and other
/// words may come first. The test fails if the client never makes the call that the fault is for.
[[nodiscard]] inline FakeRun RunInFakeSystem(
    std::vector<std::string> words, const std::string& reply, const fake::Fault& fault = {},
    const std::vector<std::string>& first = {"trel-tool", "-s", "/s"}) {
  words.insert(words.begin(), first.begin(), first.end());
  unsetenv("POSIXLY_CORRECT");  // of the tests' caller
  fake::ResetSystem();
  fake::System& system = fake::TheSystem();
  system.daemon = {.rest = reply};
  system.fault = fault;
  const auto requests = std::make_unique<trel::LargeRequests>();
  FakeRun run;
  static_cast<fake::RunOutcome&>(run) = fake::RunClient(GuardedWords(words), *requests);
  EXPECT_LE(system.fault.occurrence, fault.call.empty() ? 1 : 0) << "no such call: " << fault.call;
  run.calls = system.calls;
  run.sent = system.sent;
  run.out = system.out;
  run.err = system.err;
  run.file = system.file;
  return run;
}

/// Requires of a run that its request has this code and payload, and that it succeeds.
inline void ExpectRequest(const FakeRun& run, unsigned code, const std::string& payload) {
  EXPECT_TRUE(SameBytes(standin::EncodeFrame(code, payload), run.sent));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 0U);
}

/// Requires of a run that it has reported `message`, printed the help and done nothing else.
inline void ExpectRefusal(const FakeRun& run, const std::string& message) {
  static const std::string USAGE = [] {
    const std::string mark = "@NAME@";
    std::string usage = ReadFile(TREL_USAGE_TEXT);
    return usage.replace(usage.find(mark), mark.size(), "trel-tool");
  }();
  EXPECT_EQ(run.err, message);
  EXPECT_EQ(run.out, USAGE);
  EXPECT_EQ(run.status, 0x0bad0001U);
  EXPECT_EQ(run.ending, fake::Ending::RETURNED);
  EXPECT_EQ(run.sent, "");
}

}  // namespace tests

#endif  // TESTS_UNIT_FAKE_RUN_H
