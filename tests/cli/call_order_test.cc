// Every call that a run makes, in order and with its arguments: each is made once,
// none is repeated, nothing is closed, the two lists are released last.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "cli/command_samples.h"
#include "cli/injected_run.h"
#include "support/bytes.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::HalfClose;
using standin::SendBytes;
using testing::ElementsAre;
using testing::ElementsAreArray;

class CallOrder : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(Of, CallOrder, testing::ValuesIn(SampleOfEachPayload()), SampleName);

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

TEST_P(CallOrder, IsFixedForEachPayloadAndReplyMode) {
  const CommandSample& sample = GetParam();
  const InjectedResult run = RunInjected({.words = sample.words, .steps = ReplyOk(sample)});

  Calls expected = {"signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1", "calloc(1, 94720) = #2"};
  if (sample.CopiesText()) {
    Append(expected, {"strdup(\"" + sample.words.back() + "\") = #3"});
  }
  Append(expected, {"socket(unix, stream, 0) = socket",
                    "setsockopt(socket, receive time-out, " +
                        std::to_string(sample.command->timeoutSeconds) + " s 0 us, 16) = 0",
                    "connect(socket, unix \"<folder>/s\" and zeros, 110) = 0"});
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
  EXPECT_TRUE(SameBytes(sample.Request(), run.request));
  EXPECT_EQ(run.out, OkOutput(sample));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

/// The calls of a run that reads an empty request's reply from the third
/// allocation on.
Calls CallsAfterEmptyRequest(const InjectedResult& run) {
  constexpr std::size_t CALLS_UP_TO_SEND = 7;
  Calls calls = run.calls;
  calls.erase(calls.begin(),
              calls.begin() + std::min<std::ptrdiff_t>(CALLS_UP_TO_SEND, std::ssize(calls)));
  return calls;
}

TEST(CallOrderOfReplies, AReplyWithoutPayloadIsReceivedOnceAndWrittenAsNothing) {
  const InjectedResult run =
      RunInjected({.words = {"fitness-stats-get"}, .steps = {SendBytes{Zeros(8)}, AwaitHangUp{}}});
  EXPECT_THAT(CallsAfterEmptyRequest(run), ElementsAre("recv(socket, 8, wait for all) = 8",
                                                       "write(1, 0) = 0", "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AnErrorReplyIsReleasedBeforeTheLists) {
  const InjectedResult run =
      RunInjected({.words = {"fitness-stats-get"},
                   .steps = {SendBytes{FromHex("00000005 00000003") + "why"}, AwaitHangUp{}}});
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("recv(socket, 8, wait for all) = 8", "malloc(3) = #3",
                          "recv(socket, 3, wait for all) = 3", "free(#3)", "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AShortPayloadIsReleasedAndNotAskedForAgain) {
  const InjectedResult run = RunInjected(
      {.words = {"fitness-stats-get"},
       .steps = {SendBytes{FromHex("00000000 00000003") + "w"}, HalfClose{}, AwaitHangUp{}}});
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("recv(socket, 8, wait for all) = 8", "malloc(3) = #3",
                          "recv(socket, 3, wait for all) = 1", "free(#3)", "write(1, 0) = 0",
                          "free(#1)", "free(#2)"));
}

TEST(CallOrderOfReplies, AnOutputFileIsOpenedOnceAfterTheSendAndNeverClosed) {
  const TempFolder folder;
  const InjectedResult run = RunInjected({.words = {"stats", "-o", folder / "f"},
                                          .steps = {SendBytes{"ok"}, HalfClose{}, AwaitHangUp{}}});
  EXPECT_THAT(CallsAfterEmptyRequest(run),
              ElementsAre("fopen(\"<folder>/f\", \"w\") = 0", "read(socket, 1023) = 2",
                          "read(socket, 1023) = 0", "free(#1)", "free(#2)"));
  EXPECT_EQ(ReadFile(folder / "f"), "ok");
}

TEST(CallOrderOfUsageErrors, NothingIsTouchedButTheTwoLists) {
  const InjectedResult run = RunInjected({.words = {"crawler"}});
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2", "free(#1)", "free(#2)"));
  EXPECT_FALSE(run.called);
}

TEST(CallOrderOfUsageErrors, HelpEndsTheProcessAndReleasesNothing) {
  const InjectedResult run = RunInjected({.words = {"-h"}});
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2"));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(CallOrderOfUsageErrors, AReplacedJsonTextIsNotReleased) {
  const InjectedResult run = RunInjected({.words = {"-j", "1", "-j", "2", "stat"}});
  EXPECT_THAT(run.calls, ElementsAre("signal(PIPE, ignored) = 0", "calloc(1, 94720) = #1",
                                     "calloc(1, 94720) = #2", "strdup(\"1\") = #3",
                                     "strdup(\"2\") = #4", "free(#1)", "free(#2)"));
}

}  // namespace
}  // namespace tests
