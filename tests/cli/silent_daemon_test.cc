// A daemon that falls silent or hangs up at a chosen moment. What it has sent by
// then lies ready before the client asks for it, so that the outcome is fixed.

#include <gtest/gtest.h>

#include "cli/injected_run.h"
#include "cli/replies.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using standin::AwaitHangUp;
using standin::Close;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

/// The daemon sends `bytes`, lets the client ask for them, and is silent for longer
/// than the client waits.
InjectedResult RunIntoTimeout(const std::vector<std::string>& words, const std::string& firstCall,
                              const std::string& bytes) {
  Gate gate(firstCall);
  return RunInjected({.words = words,
                      .steps = {ReadRequest{}, gate.AwaitClient(), SendBytes{bytes},
                                gate.LetClientPass(), AwaitHangUp{}},
                      .gate = &gate,
                      .receiveTimeout = 20ms});
}

TEST(SilentDaemon, TimesOutTheHeaderOfAReply) {
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    const InjectedResult run = RunIntoTimeout({word}, "recv:1", "");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "Error received: No answer within the time-out: (null)\n");
    EXPECT_EQ(run.exitValue, 11);
  }
}

TEST(SilentDaemon, LeavesTheMissingBytesOfTheHeaderZero) {
  const struct {
    std::size_t bytes;
    const char* out;
    std::string err;
    int exitValue;
  } cuts[] = {
      {1, "", "Error received: Unknown status 0x01000000: (null)\n", 0},
      {2, "", "Error received: Unknown status 0x01020000: (null)\n", 0},
      {3, "", "Error received: Unknown status 0x01020300: (null)\n", 0},
      {4, "", "Error received: Unknown status 0x01020304: (null)\n", 4},
      // A length by now; the payload's receive times out with nothing received and
      // passes for a payload of zeros.
      {5, "", "Error received: Unknown status 0x01020304: \n", 4},
      {6, "", "Error received: Unknown status 0x01020304: \n", 4},
      {7, "", "Error received: Unknown status 0x01020304: \n", 4},
      {8, "", "Error received: Unknown status 0x01020304: \n", 4},
  };
  for (const auto& cut : cuts) {
    SCOPED_TRACE(cut.bytes);
    const InjectedResult run =
        RunIntoTimeout({PRINTING}, "recv:1", FromHex("01020304 01020304").substr(0, cut.bytes));
    EXPECT_EQ(run.out, cut.out);
    EXPECT_EQ(run.err, cut.err);
    EXPECT_EQ(run.exitValue, cut.exitValue);
  }
}

TEST(SilentDaemon, MakesAPayloadOfWhichNothingHasComeZeros) {
  const InjectedResult run = RunIntoTimeout({PRINTING}, "recv:1", Header("00000000", 10));
  EXPECT_TRUE(SameBytes(Zeros(10) + "\n", run.out));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(SilentDaemon, IsWarnedOfWhereverThePayloadStops) {
  const std::string payload = "0123456789";
  for (std::size_t bytes = 1; bytes < payload.size(); ++bytes) {
    for (const char* status : {"00000000", "00000005"}) {
      SCOPED_TRACE(bytes);
      const InjectedResult run =
          RunIntoTimeout({PRINTING}, "recv:1", Frame(status, payload).substr(0, 8 + bytes));
      EXPECT_EQ(run.out, "\n");
      EXPECT_EQ(run.err, SHORT_PAYLOAD_WARNING);
      EXPECT_EQ(run.exitValue, 0);
    }
  }
}

TEST(SilentDaemon, EndsAStreamWithTheTimeoutAndKeepsWhatHasCome) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"stats"}, {"get-obj-crawler-state", "-a"}}) {
    for (const std::string text : {"", "first piece\n"}) {
      const InjectedResult run = RunIntoTimeout(words, "read:1", text);
      EXPECT_EQ(run.out, text);
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitValue, 11);
    }
  }
}

/// The daemon hangs up when the client stands before `call`; `before` comes first.
InjectedResult RunIntoHangUp(const std::vector<std::string>& words, const std::string& call,
                             std::vector<Step> before = {}) {
  Gate gate(call);
  std::vector<Step> steps = {gate.AwaitClient()};
  steps.insert(steps.end(), before.begin(), before.end());
  steps.insert(steps.end(), {Close{}, gate.LetClientPass()});
  return RunInjected({.words = words, .steps = steps, .gate = &gate});
}

TEST(GoneDaemon, BreaksThePipeOfTheHeader) {
  const InjectedResult framed = RunIntoHangUp({SILENT_ONE}, "send:1");
  EXPECT_EQ(framed.err, "Sending command failed: Broken pipe\n");
  EXPECT_EQ(framed.exitValue, 32);
  const InjectedResult crawler = RunIntoHangUp({"get-obj-crawler-state", "-a"}, "send:1");
  EXPECT_EQ(crawler.err, "Sending command failed: Broken pipe\n");
  EXPECT_EQ(crawler.exitValue, 32);
  for (const std::string silent : {"stats", "refresh-config-opts"}) {
    const InjectedResult run = RunIntoHangUp({silent}, "send:1");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.exitValue, 32);
  }
}

TEST(GoneDaemon, BreaksThePipeOfThePayload) {
  const InjectedResult run = RunIntoHangUp({"log-level", "2"}, "send:2");
  EXPECT_EQ(run.err, "Sending command failed: Broken pipe\n");
  EXPECT_EQ(run.exitValue, 32);
}

TEST(GoneDaemon, ThatLeavesTheRequestUnreadResetsTheConnection) {
  const InjectedResult run = RunIntoHangUp({PRINTING}, "recv:1");
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "Error received: Connection reset by peer: (null)\n");
  EXPECT_EQ(run.exitValue, 104);
  const InjectedResult stream = RunIntoHangUp({"stats"}, "read:1");
  EXPECT_EQ(stream.out, "");
  EXPECT_EQ(stream.err, "");
  EXPECT_EQ(stream.exitValue, 104);
}

TEST(GoneDaemon, ThatLeavesTheRequestUnreadStillHasItsReplyRead) {
  const InjectedResult run =
      RunIntoHangUp({PRINTING}, "recv:1", {SendBytes{Frame("00000000", "yes")}});
  EXPECT_EQ(run.out, "yes\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(GoneDaemon, ThatLeavesTheRequestUnreadMakesAnAnnouncedPayloadZeros) {
  const InjectedResult run =
      RunIntoHangUp({PRINTING}, "recv:1", {SendBytes{Header("00000000", 3)}});
  EXPECT_TRUE(SameBytes(Zeros(3) + "\n", run.out));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(GoneDaemon, ThatLeavesTheRequestUnreadEndsAStreamAfterItsText) {
  const InjectedResult run = RunIntoHangUp({"stats"}, "read:1", {SendBytes{"text"}});
  EXPECT_EQ(run.out, "text");
  EXPECT_EQ(run.exitValue, 104);
}

}  // namespace
}  // namespace tests
