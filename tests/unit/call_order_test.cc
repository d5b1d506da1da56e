// Every call that a run makes, in order and with its arguments: each is made once,
// none is repeated, nothing is closed, the two lists are released last.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/support/bytes.h"
#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using fake::Ending;
using testing::ElementsAre;
using testing::ElementsAreArray;

class CallOrder : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(Of, CallOrder, testing::ValuesIn(SampleOfEachCommand()), SampleName);

using Calls = std::vector<std::string>;

void Append(Calls& calls, const Calls& more) {
  calls.insert(calls.end(), more.begin(), more.end());
}

Calls CallsOfReply(ReplyMode mode) {
  switch (mode) {
    case ReplyMode::STREAM:
      return {"read(socket, 1023) = 2", "read(socket, 1023) = 0"};
    case ReplyMode::PRINT:
      return {"recv(socket, 8, wait for all) = 8", "malloc(2) = #3",
              "recv(socket, 2, wait for all) = 2", "write(1, 2) = 2"};
    case ReplyMode::SILENT:
      return {"recv(socket, 8, wait for all) = 8", "malloc(2) = #3",
              "recv(socket, 2, wait for all) = 2"};
    case ReplyMode::NONE:
      break;
  }
  return {};
}

TEST_P(CallOrder, IsFixedForEachCommandAndReplyMode) {
  const CommandSample& sample = GetParam();
  const FakeRun run = RunInFakeSystem(sample.words, OkReply(sample));

  Calls expected = {"signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1", "calloc(1, 94720) = #2"};
  if (sample.CopiesText()) {
    Append(expected, {"strdup(\"" + sample.words.back() + "\") = #3"});
  }
  Append(expected, {"socket(unix, stream, 0) = socket",
                    "setsockopt(socket, receive time-out, " +
                        std::to_string(sample.command->timeoutSeconds) + " s 0 us, 16) = 0",
                    "connect(socket, unix \"/s\" and zeros, 110) = 0"});
  if (sample.HasHeapRecord()) {
    Append(expected, {"calloc(1, 94728) = #3"});
  }
  Append(expected, {"send(socket, 8, 0) = 8"});
  if (!sample.payload.empty()) {
    const std::string size = std::to_string(sample.payload.size());
    Append(expected, {"send(socket, " + size + ", 0) = " + size});
  }
  if (sample.HasHeapRecord()) {
    Append(expected, {"free(#3)"});
  }
  Calls reply = CallsOfReply(sample.mode);
  if (sample.HasHeapRecord() || sample.CopiesText()) {
    reply.at(1) = "malloc(2) = #4";
  }
  Append(expected, reply);
  Append(expected, {"free(#1)", "free(#2)"});
  EXPECT_THAT(run.calls, ElementsAreArray(expected));
  EXPECT_TRUE(SameBytes(sample.Request(), run.sent));
  EXPECT_EQ(run.out, OkOutput(sample));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 0U);
}

/// The calls of a run that reads an empty request's reply from the third
/// allocation on.
Calls CallsAfterEmptyRequest(const FakeRun& run) {
  constexpr std::size_t CALLS_UP_TO_SEND = 7;
  Calls calls = run.calls;
  calls.erase(calls.begin(),
              calls.begin() + std::min<std::ptrdiff_t>(CALLS_UP_TO_SEND, std::ssize(calls)));
  return calls;
}

TEST(CallOrderOfReplies, AReplyWithoutPayloadIsReceivedOnceAndWrittenAsNothing) {
  const FakeRun run = RunInFakeSystem({"fitness-stats-get"}, Zeros(8));
  EXPECT_THAT(CallsAfterEmptyRequest(run), ElementsAre("recv(socket, 8, wait for all) = 8",
                                                       "write(1, 0) = 0", "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AnErrorReplyIsReleasedBeforeTheLists) {
  const FakeRun run = RunInFakeSystem({"fitness-stats-get"}, standin::EncodeFrame(5, "why"));
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("recv(socket, 8, wait for all) = 8", "malloc(3) = #3",
                          "recv(socket, 3, wait for all) = 3", "free(#3)", "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AShortPayloadIsReleasedAndNotAskedForAgain) {
  const FakeRun run = RunInFakeSystem({"fitness-stats-get"}, FromHex("00000000 00000003") + "w");
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("recv(socket, 8, wait for all) = 8", "malloc(3) = #3",
                          "recv(socket, 3, wait for all) = 1", "free(#3)", "write(1, 0) = 0",
                          "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AnOutputFileIsOpenedOnceAfterTheSendAndNeverClosed) {
  const FakeRun run = RunInFakeSystem({"stats", "-o", "f"}, "ok");
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("fopen(\"f\", \"w\") = 0", "read(socket, 1023) = 2",
                          "read(socket, 1023) = 0", "free(#1)", "free(#2)"));
  EXPECT_EQ(run.file, "ok");
}

TEST(CallOrderOfUsageErrors, NothingIsTouchedButTheTwoLists) {
  const FakeRun run = RunInFakeSystem({"crawler"}, "");
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2", "free(#1)", "free(#2)"));
}

TEST(CallOrderOfUsageErrors, HelpEndsTheProcessAndReleasesNothing) {
  const FakeRun run = RunInFakeSystem({"-h"}, "");
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2"));
  EXPECT_EQ(run.ending, Ending::EXITED);
  EXPECT_EQ(run.exitValue, 0);
}

TEST(CallOrderOfUsageErrors, AListBeyondItsCapacityAbortsWithoutAWord) {
  const FakeRun run = RunInFakeSystem({"-l", UuidList(2561), "what-if-upgrade"}, "");
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2"));
  EXPECT_EQ(run.ending, Ending::ABORTED);
  EXPECT_EQ(run.out + run.err, "");
}

TEST(CallOrderOfUsageErrors, AReplacedJsonTextIsNotReleased) {
  const FakeRun run = RunInFakeSystem({"-j", "1", "-j", "2", "stat"}, "");
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2", "strdup(\"1\") = #3",
                                     "strdup(\"2\") = #4", "free(#1)", "free(#2)"));
}

}  // namespace
}  // namespace tests
