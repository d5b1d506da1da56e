// Every call that a run makes, in order and with its arguments: each is made once,
// none is repeated, nothing is closed, the two lists are released last.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using fake::Ending;
using Calls = std::vector<std::string>;

const Calls START = {"signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1", "calloc(1, 94720) = #2"};
const Calls END = {"free(#1)", "free(#2)"};

Calls Connection(std::uint32_t seconds) {
  return {"socket(unix, stream, 0) = socket",
          "setsockopt(socket, receive time-out, " + std::to_string(seconds) + " s 0 us, 16) = 0",
          "connect(socket, unix \"/s\" and zeros, 110) = 0"};
}

Calls Joined(const std::vector<Calls>& parts) {
  Calls all;
  for (const Calls& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class CallOrder : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(Of, CallOrder, testing::ValuesIn(SampleOfEachCommand()), SampleName);

Calls CallsOfReply(ReplyMode mode, const std::string& block) {
  const Calls frame = {"recv(socket, 8, wait for all) = 8", "malloc(2) = " + block,
                       "recv(socket, 2, wait for all) = 2"};
  switch (mode) {
    case ReplyMode::STREAM:
      return {"read(socket, 1023) = 2", "read(socket, 1023) = 0"};
    case ReplyMode::PRINT:
      return Joined({frame, {"write(1, 2) = 2"}});
    case ReplyMode::SILENT:
      return frame;
    case ReplyMode::NONE:
      break;
  }
  return {};
}

TEST_P(CallOrder, IsFixedForEachCommandAndReplyMode) {
  const CommandSample& sample = GetParam();
  const FakeRun run = RunInFakeSystem(sample.words, OkReply(sample));

  Calls expected = START;
  const auto append = [&](const Calls& more) { expected = Joined({expected, more}); };
  if (sample.CopiesText()) {
    append({"strdup(\"" + sample.words.back() + "\") = #3"});
  }
  append(Connection(sample.command->timeoutSeconds));
  if (sample.HasHeapRecord()) {
    append({"calloc(1, 94728) = #3"});
  }
  append({"send(socket, 8, 0) = 8"});
  if (!sample.payload.empty()) {
    const std::string size = std::to_string(sample.payload.size());
    append({"send(socket, " + size + ", 0) = " + size});
  }
  if (sample.HasHeapRecord()) {
    append({"free(#3)"});
  }
  append(CallsOfReply(sample.mode, sample.HasHeapRecord() || sample.CopiesText() ? "#4" : "#3"));
  append(END);
  EXPECT_THAT(run.calls, testing::ElementsAreArray(expected));
  EXPECT_TRUE(SameBytes(sample.Request(), run.sent));
  EXPECT_EQ(run.out, OkOutput(sample));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 0U);
}

/// A payload is released before the lists if it was not printed as a reply, and is not asked for
/// again; an output file is opened once after the send and never closed.
TEST(CallOrderOfReplies, IsFixedForOddReplies) {
  const Calls sent = Joined({START, Connection(20), {"send(socket, 8, 0) = 8"}});
  const Calls header = {"recv(socket, 8, wait for all) = 8"};
  const struct {
    std::vector<std::string> words;
    std::string reply;
    Calls calls;
  } rows[] = {
      {{"fitness-stats-get"}, Zeros(8), Joined({header, {"write(1, 0) = 0"}})},
      {{"fitness-stats-get"},
       standin::EncodeFrame(5, "why"),
       Joined({header, {"malloc(3) = #3", "recv(socket, 3, wait for all) = 3", "free(#3)"}})},
      {{"fitness-stats-get"},
       FromHex("00000000 00000003") + "w",
       Joined({header,
               {"malloc(3) = #3", "recv(socket, 3, wait for all) = 1", "free(#3)",
                "write(1, 0) = 0"}})},
      {{"stats", "-o", "f"},
       "ok",
       {"fopen(\"f\", \"w\") = 0", "read(socket, 1023) = 2", "read(socket, 1023) = 0"}},
  };
  for (const auto& row : rows) {
    const FakeRun run = RunInFakeSystem(row.words, row.reply);
    EXPECT_THAT(run.calls, testing::ElementsAreArray(Joined({sent, row.calls, END})));
  }
}

/// Help and a list beyond its capacity end the process and release nothing.
TEST(CallOrderOfUsageErrors, NothingIsTouchedButTheTwoListsAndCopiesOfJson) {
  const Calls copies = {"strdup(\"1\") = #3", "strdup(\"2\") = #4"};
  const struct {
    std::vector<std::string> words;
    Ending ending;
    Calls calls;
  } rows[] = {
      {{"crawler"}, Ending::RETURNED, Joined({START, END})},
      {{"-j", "1", "-j", "2", "stat"}, Ending::RETURNED, Joined({START, copies, END})},
      {{"-h"}, Ending::EXITED, START},
      {{"-l", UuidList(2561), "what-if-upgrade"}, Ending::ABORTED, START},
  };
  for (const auto& row : rows) {
    const FakeRun run = RunInFakeSystem(row.words, "");
    EXPECT_THAT(run.calls, testing::ElementsAreArray(row.calls));
    EXPECT_EQ(run.ending, row.ending);
    EXPECT_EQ(run.exitValue, 0);
    if (row.ending == Ending::ABORTED) {
      EXPECT_EQ(run.out + run.err, "");
    }
  }
}

}  // namespace
}  // namespace tests
