// What fails or falls short between the connection and the end: sends, receives,
// reads, writes, the payload's memory, the output file.

#include <gtest/gtest.h>

#include <csignal>

#include "cli/command_samples.h"
#include "cli/errnos.h"
#include "cli/injected_run.h"
#include "support/bytes.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::HalfClose;
using standin::SendBytes;
using standin::Step;

/// What a run with a fault comes to.
struct Outcome {
  std::string out = {};
  std::string err = {};
  int exitValue = 0;
  std::string request = {};  ///< all bytes that the daemon was sent
  std::string after = {};    ///< the calls after the fault
};

void ExpectOutcome(const InjectedRun& setup, const Outcome& expected) {
  SCOPED_TRACE(setup.fault);
  const InjectedResult run = RunInjected(setup);
  EXPECT_TRUE(SameBytes(expected.out, run.out));
  EXPECT_EQ(run.err, expected.err);
  EXPECT_EQ(run.exitValue, expected.exitValue);
  EXPECT_TRUE(SameBytes(expected.request, run.request));
  EXPECT_EQ(NamesAfterFault(run), expected.after);
}

/// The calls from the reply to the end of a good run.
std::string CallsFromReply(ReplyMode mode) {
  switch (mode) {
    case ReplyMode::STREAM:
      return "read read free free";
    case ReplyMode::PRINT:
      return "recv malloc recv write free free";
    case ReplyMode::SILENT:
      return "recv malloc recv free free";
    case ReplyMode::NONE:
      break;
  }
  return "free free";
}

/// The calls from the last send to the end of a good run, the send left out.
std::string CallsFromSent(const CommandSample& sample) {
  return (sample.HasHeapRecord() ? "free " : "") + CallsFromReply(sample.mode);
}

std::string CallsAfterFailedSend(const CommandSample& sample) {
  return sample.HasHeapRecord() ? "free free free" : "free free";
}

/// Kept on purpose: stats and the commands without a reply fail silently.
std::string FailedSendText(const CommandSample& sample, const Errno& error) {
  const bool silent = sample.mode == ReplyMode::NONE || sample.words[0] == "stats";
  return silent ? "" : std::string("Sending command failed: ") + error.statusText + "\n";
}

class SendFaults : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(Of, SendFaults, testing::ValuesIn(SampleOfEachPayload()), SampleName);

TEST_P(SendFaults, AFailedHeaderSendEndsTheRunBeforeThePayload) {
  const CommandSample& sample = GetParam();
  for (const Errno& error : ERRNOS) {
    ExpectOutcome(
        {.words = sample.words, .steps = ReplyOk(sample), .fault = Failing("send:1", error)},
        {.err = FailedSendText(sample, error),
         .exitValue = error.exitValue,
         .after = CallsAfterFailedSend(sample)});
  }
}

TEST_P(SendFaults, AFailedHeaderSendWithoutErrnoIsASuccessWithoutPayload) {
  const CommandSample& sample = GetParam();
  ExpectOutcome({.words = sample.words, .steps = ReplyOk(sample), .fault = "send:1:errno=0"},
                {.out = OkOutput(sample), .after = CallsFromSent(sample)});
}

TEST_P(SendFaults, AShortHeaderSendIsNotRepeated) {
  const CommandSample& sample = GetParam();
  for (const std::size_t bytes : {0UL, 1UL, 7UL}) {
    ExpectOutcome(
        {.words = sample.words, .steps = ReplyOk(sample), .fault = Shortened("send:1", bytes)},
        {.out = OkOutput(sample),
         .request = sample.header.substr(0, bytes) + sample.payload,
         .after = (sample.payload.empty() ? "" : "send ") + CallsFromSent(sample)});
  }
}

class PayloadSendFaults : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(Of, PayloadSendFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(),
                                                [](const auto& sample) {
                                                  return !sample.payload.empty();
                                                })),
                         SampleName);

TEST_P(PayloadSendFaults, AFailedPayloadSendEndsTheRun) {
  const CommandSample& sample = GetParam();
  for (const Errno& error : ERRNOS) {
    ExpectOutcome(
        {.words = sample.words, .steps = ReplyOk(sample), .fault = Failing("send:2", error)},
        {.err = FailedSendText(sample, error),
         .exitValue = error.exitValue,
         .request = sample.header,
         .after = CallsAfterFailedSend(sample)});
  }
}

TEST_P(PayloadSendFaults, AFailedPayloadSendWithoutErrnoIsASuccess) {
  const CommandSample& sample = GetParam();
  ExpectOutcome(
      {.words = sample.words, .steps = ReplyOk(sample), .fault = "send:2:errno=0"},
      {.out = OkOutput(sample), .request = sample.header, .after = CallsFromSent(sample)});
}

TEST_P(PayloadSendFaults, AShortPayloadSendIsNotRepeated) {
  const CommandSample& sample = GetParam();
  for (const std::size_t bytes : {0UL, 1UL, sample.payload.size() - 1}) {
    ExpectOutcome(
        {.words = sample.words, .steps = ReplyOk(sample), .fault = Shortened("send:2", bytes)},
        {.out = OkOutput(sample),
         .request = sample.header + sample.payload.substr(0, bytes),
         .after = CallsFromSent(sample)});
  }
}

class ReplyFaults : public testing::TestWithParam<CommandSample> {
 protected:
  static void Expect(const std::string& fault, const std::vector<Step>& steps,
                     const std::string& printed, Outcome expected) {
    const CommandSample& sample = GetParam();
    expected.out = sample.mode == ReplyMode::PRINT ? printed : "";
    expected.request = sample.Request();
    ExpectOutcome({.words = sample.words, .steps = steps, .fault = fault}, expected);
  }
  /// The calls after the reply when nothing of it is left to receive.
  static std::string AfterSuccess() {
    return GetParam().mode == ReplyMode::PRINT ? "write free free" : "free free";
  }
};
INSTANTIATE_TEST_SUITE_P(Of, ReplyFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(), &CommandSample::IsFramed)),
                         SampleName);

TEST_P(ReplyFaults, AFailedHeaderReceiveIsAnErrorWithoutPayload) {
  for (const Errno& error : ERRNOS) {
    Expect(Failing("recv:1", error), ReplyOk(GetParam()), "",
           {.err = std::string("Error received: ") + error.statusText + ": (null)\n",
            .exitValue = error.exitValue,
            .after = "free free"});
  }
}

TEST_P(ReplyFaults, AFailedHeaderReceiveWithoutErrnoIsAnEmptySuccess) {
  Expect("recv:1:errno=0", ReplyOk(GetParam()), "\n", {.after = AfterSuccess()});
}

TEST_P(ReplyFaults, AShortHeaderReceiveLeavesTheRestZero) {
  const std::vector<Step> steps = {SendBytes{FromHex("01020304 00000002") + "ok"}, AwaitHangUp{}};
  const struct {
    std::size_t bytes;
    const char* status;
    int exitValue;
  } cuts[] = {{1, "0x01000000", 0}, {2, "0x01020000", 0}, {3, "0x01020300", 0},
              {4, "0x01020304", 4}, {5, "0x01020304", 4}, {6, "0x01020304", 4},
              {7, "0x01020304", 4}};
  for (const auto& cut : cuts) {
    Expect(Shortened("recv:1", cut.bytes), steps, "",
           {.err = std::string("Error received: Unknown status ") + cut.status + ": (null)\n",
            .exitValue = cut.exitValue,
            .after = "free free"});
  }
  Expect("recv:1:short=0", steps, "\n", {.after = AfterSuccess()});
}

TEST_P(ReplyFaults, APayloadThatCannotBeAllocatedAborts) {
  const InjectedResult run = RunInjected(
      {.words = GetParam().words, .steps = ReplyOk(GetParam()), .fault = "malloc:1:errno=12"});
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "TREL_SafeMalloc:3116: Failed to allocate new memory\n");
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_TRUE(SameBytes(GetParam().Request(), run.request));
  EXPECT_EQ(NamesAfterFault(run), "");
}

TEST_P(ReplyFaults, AFailedPayloadReceivePassesAsACompletePayloadOfZeros) {
  for (const Errno& error : ERRNOS) {
    Expect(Failing("recv:2", error), ReplyOk(GetParam()), Zeros(2) + "\n",
           {.after = AfterSuccess()});
  }
  Expect("recv:2:errno=0", ReplyOk(GetParam()), Zeros(2) + "\n", {.after = AfterSuccess()});
}

TEST_P(ReplyFaults, AFailedPayloadReceiveOfAnErrorReplyIsAnEmptyText) {
  Expect("recv:2:errno=11", {SendBytes{FromHex("00000005 00000003") + "why"}, AwaitHangUp{}}, "",
         {.err = "Error received: Unknown status 0x00000005: \n",
          .exitValue = 5,
          .after = "free free free"});
}

TEST_P(ReplyFaults, AShortPayloadReceiveWarnsAndIsAnEmptySuccess) {
  const std::string warning = "Failed to receive the complete UDS message sent. Please try again";
  for (const std::size_t bytes : {0UL, 1UL}) {
    Expect(Shortened("recv:2", bytes), ReplyOk(GetParam()), "\n",
           {.err = warning, .after = "free " + AfterSuccess()});
  }
  // An error reply is forgotten too.
  Expect("recv:2:short=2", {SendBytes{FromHex("00000005 00000003") + "why"}, AwaitHangUp{}}, "\n",
         {.err = warning, .after = "free " + AfterSuccess()});
}

class WriteFaults : public testing::TestWithParam<CommandSample> {
 protected:
  static void Expect(const std::string& fault, Outcome expected) {
    expected.request = GetParam().Request();
    expected.after = "free free";
    ExpectOutcome({.words = GetParam().words, .steps = ReplyOk(GetParam()), .fault = fault},
                  expected);
  }
};
INSTANTIATE_TEST_SUITE_P(Of, WriteFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(),
                                                [](const auto& sample) {
                                                  return sample.mode == ReplyMode::PRINT;
                                                })),
                         SampleName);

TEST_P(WriteFaults, AFailedWriteEndsTheRunWithoutALineEndOrAMessage) {
  for (const Errno& error : ERRNOS) {
    Expect(Failing("write:1", error), {.exitValue = error.exitValue});
  }
  Expect("write:1:errno=0", {});
}

TEST_P(WriteFaults, AShortWriteIsNotRepeated) {
  Expect("write:1:short=0", {.out = "\n"});
  Expect("write:1:short=1", {.out = "o\n"});
}

class StreamFaults : public testing::TestWithParam<CommandSample> {
 protected:
  static void Expect(const std::string& fault, Outcome expected,
                     const std::vector<std::string>& options = {}) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.end(), options.begin(), options.end());
    expected.request = GetParam().Request();
    ExpectOutcome({.words = words, .steps = ReplyOk(GetParam()), .fault = fault}, expected);
  }
};
INSTANTIATE_TEST_SUITE_P(Of, StreamFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(),
                                                [](const auto& sample) {
                                                  return sample.mode == ReplyMode::STREAM;
                                                })),
                         SampleName);

TEST_P(StreamFaults, AFailedReadEndsTheRunWithoutAMessageAndKeepsWhatWasPrinted) {
  for (const Errno& error : ERRNOS) {
    Expect(Failing("read:1", error), {.exitValue = error.exitValue, .after = "free free"});
    Expect(Failing("read:2", error),
           {.out = "ok", .exitValue = error.exitValue, .after = "free free"});
  }
  Expect("read:1:errno=0", {.after = "free free"});
  Expect("read:2:errno=0", {.out = "ok", .after = "free free"});
}

TEST_P(StreamFaults, AFailedReadKeepsWhatTheOutputFileHas) {
  const TempFolder folder;
  Expect("read:2:errno=104", {.exitValue = 104, .after = "free free"}, {"-o", folder / "f"});
  EXPECT_EQ(ReadFile(folder / "f"), "ok");
}

TEST_P(StreamFaults, AShortReadIsFollowedByAnother) {
  Expect("read:1:short=1", {.out = "ok", .after = "read read free free"});
}

TEST_P(StreamFaults, AReadOfNothingIsTheEnd) { Expect("read:1:short=0", {.after = "free free"}); }

TEST_P(StreamFaults, AnOutputFileThatCannotBeOpenedEndsTheRunWithoutAMessage) {
  const TempFolder folder;
  for (const Errno& error : ERRNOS) {
    Expect(Failing("fopen:1", error), {.exitValue = error.exitValue, .after = "free free"},
           {"-o", folder / "f"});
  }
  Expect("fopen:1:errno=0", {.after = "free free"}, {"-o", folder / "f"});
}

}  // namespace
}  // namespace tests
