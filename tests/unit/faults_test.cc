// Calls that fail or fall short, one in each run: what is printed and sent, how the run
// ends, and which calls follow.

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/bytes.h"
#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using fake::Ending;
using fake::Fault;

/// A number that a failed call may leave in errno.
struct Errno {
  int number;
  std::uint32_t status;
  const char* statusText;
  const char* libraryText;  ///< the C library's text for the number itself
};

const Errno ERRNOS[] = {
    {4, 0x2bad0004, "Interrupted system call", "Interrupted system call"},
    {5, 0x2bad0005, "Input/output error", "Input/output error"},
    {11, 0x2bad000b, "No answer within the time-out", "Resource temporarily unavailable"},
    {28, 0x2bad001c, "No space left on device", "No space left on device"},
    {32, 0x2bad0020, "Broken pipe", "Broken pipe"},
    {ECONNRESET, 0x2bad0000 + ECONNRESET, "Connection reset by peer", "Connection reset by peer"},
    {255, 0x2bad00ff, "Unknown status 0x2bad00ff", "Unknown error 255"},
    {256, 0x2bad0100, "Unknown status 0x2bad0100", "Unknown error 256"},
    {-5, 0x2bad0005, "Input/output error", "Unknown error -5"},
};

Fault Fails(const char* call, int occurrence, int number) {
  return {.call = call, .occurrence = occurrence, .number = number};
}

Fault FallsShort(const char* call, int occurrence, std::size_t bytes) {
  return {.call = call,
          .occurrence = occurrence,
          .effect = Fault::SHORT,
          .number = static_cast<int>(bytes)};
}

/// What a run with a fault comes to.
struct Expected {
  std::string out = {};
  std::string err = {};
  std::uint32_t status = 0;
  std::string sent = {};
  std::string after = {};  ///< the calls after the fault
  Ending ending = Ending::RETURNED;
};

void Expect(const CommandSample& sample, const Fault& fault, const Expected& expected,
            const std::string& reply) {
  SCOPED_TRACE(sample.name + ", " + std::string(fault.call) + " " +
               std::to_string(fault.occurrence) + ", " + std::to_string(fault.number));
  const FakeRun run = RunInFakeSystem(sample.words, reply, fault);
  std::string after;
  bool met = false;
  for (const std::string& call : run.calls) {
    after += met ? (after.empty() ? "" : " ") + call.substr(0, call.find('(')) : "";
    met = met || call.ends_with(" injected");
  }
  EXPECT_TRUE(SameBytes(expected.out, run.out));
  EXPECT_EQ(run.err, expected.err);
  EXPECT_EQ(run.ending, expected.ending);
  EXPECT_EQ(run.status, expected.status);
  EXPECT_TRUE(SameBytes(expected.sent, run.sent));
  EXPECT_EQ(after, expected.after);
}

void Expect(const CommandSample& sample, const Fault& fault, const Expected& expected) {
  Expect(sample, fault, expected, OkReply(sample));
}

std::vector<CommandSample> Framed() {
  return Only(SampleOfEachPayload(), &CommandSample::IsFramed);
}

std::vector<CommandSample> OfMode(ReplyMode mode) {
  return Only(SampleOfEachPayload(), [&](const auto& sample) { return sample.mode == mode; });
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

/// The calls after the reply when nothing of it is left to receive.
std::string CallsFromPrinting(const CommandSample& sample) {
  return sample.mode == ReplyMode::PRINT ? "write free free" : "free free";
}

std::string Printed(const CommandSample& sample, const std::string& text) {
  return sample.mode == ReplyMode::PRINT ? text : "";
}

// --- before the request ------------------------------------------------------------

TEST(SetupFaults, AFailedSignalIsReportedAndTheRunGoesOn) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    std::string after = sample.CopiesText() ? "calloc calloc strdup" : "calloc calloc";
    after += " socket setsockopt connect ";
    after += sample.HasHeapRecord()   ? "calloc send send "
             : sample.payload.empty() ? "send "
                                      : "send send ";
    Expect(sample, Fails("signal", 1, 22),
           {.out = OkOutput(sample),
            .err = "Cannot register SIGPIPE handler",
            .sent = sample.Request(),
            .after = after + CallsFromSent(sample)});
  }
}

TEST(SetupFaults, MemoryThatCannotBeHadAborts) {
  const auto expect = [](const CommandSample& sample, const Fault& fault, const char* text) {
    Expect(sample, fault,
           {.err = std::string(text) + ": Failed to allocate new memory\n",
            .ending = Ending::ABORTED});
  };
  for (const CommandSample& sample : SampleOfEachPayload()) {
    for (const Fault& fault :
         {Fails("calloc", 1, 12), Fails("calloc", 2, 12), Fails("calloc", 2, 0)}) {
      expect(sample, fault, "TREL_SafeCalloc:3126");
    }
    if (sample.HasHeapRecord()) {
      expect(sample, Fails("calloc", 3, 12), "TREL_SafeCalloc:3126");
    }
    if (sample.CopiesText()) {
      expect(sample, Fails("strdup", 1, 12), "UtilSafeStrdup0");
    }
  }
}

/// Nothing is sent, the lists alone are released, the usage text stays away.
TEST(SetupFaults, AFailedConnectionEndsWithFailureForAnyErrno) {
  for (const auto& [call, text] : {std::pair{"socket", "socket error"},
                                   {"setsockopt", "set timeout error"},
                                   {"connect", "connect error"}}) {
    for (const CommandSample& sample : SampleOfEachPayload()) {
      const auto expect = [&, name = text](const Fault& fault, const char* reason) {
        Expect(sample, fault,
               {.err = std::string(name) + ": " + reason + "\n",
                .status = 0x0bad0001,
                .after = "free free"});
      };
      expect(Fails(call, 1, 0), "Success");
      for (const Errno& error : ERRNOS) {
        expect(Fails(call, 1, error.number), error.libraryText);
      }
    }
  }
}

TEST(SetupFaults, AnyResultOfTheTimeoutBut0IsAFailure) {
  Expect(SampleOfEachPayload().front(), FallsShort("setsockopt", 1, 1),
         {.err = "set timeout error: Numerical result out of range\n",
          .status = 0x0bad0001,
          .after = "free free"});
}

// --- sends -------------------------------------------------------------------------

/// Kept on purpose: stats and the commands without a reply fail silently.
TEST(SendFaults, AFailedSendEndsTheRun) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    const bool silent = sample.mode == ReplyMode::NONE || sample.words[0] == "stats";
    for (const Errno& error : ERRNOS) {
      const std::string text = std::string("Sending command failed: ") + error.statusText + "\n";
      Expected expected = {.err = silent ? "" : text,
                           .status = error.status,
                           .after = sample.HasHeapRecord() ? "free free free" : "free free"};
      Expect(sample, Fails("send", 1, error.number), expected);
      if (!sample.payload.empty()) {
        expected.sent = sample.header;
        Expect(sample, Fails("send", 2, error.number), expected);
      }
    }
  }
}

TEST(SendFaults, AFailedSendWithoutErrnoIsASuccessWithoutPayload) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    Expected expected = {.out = OkOutput(sample), .after = CallsFromSent(sample)};
    Expect(sample, Fails("send", 1, 0), expected);
    if (!sample.payload.empty()) {
      expected.sent = sample.header;
      Expect(sample, Fails("send", 2, 0), expected);
    }
  }
}

TEST(SendFaults, AShortSendIsNotRepeated) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    for (const std::size_t bytes : {0UL, 1UL, 7UL}) {
      Expect(sample, FallsShort("send", 1, bytes),
             {.out = OkOutput(sample),
              .sent = sample.header.substr(0, bytes) + sample.payload,
              .after = (sample.payload.empty() ? "" : "send ") + CallsFromSent(sample)});
    }
    if (sample.payload.empty()) {
      continue;
    }
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, sample.payload.size() - 1}) {
      Expect(sample, FallsShort("send", 2, bytes),
             {.out = OkOutput(sample),
              .sent = sample.header + sample.payload.substr(0, bytes),
              .after = CallsFromSent(sample)});
    }
  }
}

// --- framed replies ----------------------------------------------------------------

TEST(ReplyFaults, AFailedHeaderReceiveIsAnErrorWithoutPayload) {
  for (const CommandSample& sample : Framed()) {
    for (const Errno& error : ERRNOS) {
      Expect(sample, Fails("recv", 1, error.number),
             {.err = std::string("Error received: ") + error.statusText + ": (null)\n",
              .status = error.status,
              .sent = sample.Request(),
              .after = "free free"});
    }
    Expect(sample, Fails("recv", 1, 0),
           {.out = Printed(sample, "\n"),
            .sent = sample.Request(),
            .after = CallsFromPrinting(sample)});
  }
}

TEST(ReplyFaults, AShortHeaderReceiveLeavesTheRestZero) {
  const struct {
    std::size_t bytes;
    std::uint32_t status;
    const char* text;
  } cuts[] = {{1, 0x01000000, "0x01000000"}, {2, 0x01020000, "0x01020000"},
              {3, 0x01020300, "0x01020300"}, {4, 0x01020304, "0x01020304"},
              {5, 0x01020304, "0x01020304"}, {6, 0x01020304, "0x01020304"},
              {7, 0x01020304, "0x01020304"}};
  const std::string reply = FromHex("01020304 00000002") + "ok";
  for (const CommandSample& sample : Framed()) {
    for (const auto& cut : cuts) {
      Expect(sample, FallsShort("recv", 1, cut.bytes),
             {.err = std::string("Error received: Unknown status ") + cut.text + ": (null)\n",
              .status = cut.status,
              .sent = sample.Request(),
              .after = "free free"},
             reply);
    }
    Expect(sample, FallsShort("recv", 1, 0),
           {.out = Printed(sample, "\n"),
            .sent = sample.Request(),
            .after = CallsFromPrinting(sample)},
           reply);
  }
}

TEST(ReplyFaults, APayloadThatCannotBeAllocatedAborts) {
  for (const CommandSample& sample : Framed()) {
    Expect(sample, Fails("malloc", 1, 12),
           {.err = "TREL_SafeMalloc:3116: Failed to allocate new memory\n",
            .sent = sample.Request(),
            .ending = Ending::ABORTED});
  }
}

TEST(ReplyFaults, AFailedPayloadReceivePassesAsACompletePayloadOfZeros) {
  for (const CommandSample& sample : Framed()) {
    const Expected success = {.out = Printed(sample, Zeros(2) + "\n"),
                              .sent = sample.Request(),
                              .after = CallsFromPrinting(sample)};
    Expect(sample, Fails("recv", 2, 0), success);
    for (const Errno& error : ERRNOS) {
      Expect(sample, Fails("recv", 2, error.number), success);
    }
    Expect(sample, Fails("recv", 2, 11),
           {.err = "Error received: Unknown status 0x00000005: \n",
            .status = 5,
            .sent = sample.Request(),
            .after = "free free free"},
           standin::EncodeFrame(5, "why"));
  }
}

TEST(ReplyFaults, AShortPayloadReceiveWarnsAndIsAnEmptySuccess) {
  for (const CommandSample& sample : Framed()) {
    const Expected empty = {
        .out = Printed(sample, "\n"),
        .err = "Failed to receive the complete UDS message sent. Please try again",
        .sent = sample.Request(),
        .after = "free " + CallsFromPrinting(sample)};
    Expect(sample, FallsShort("recv", 2, 0), empty);
    Expect(sample, FallsShort("recv", 2, 1), empty);
    // An error reply is forgotten too.
    Expect(sample, FallsShort("recv", 2, 2), empty, standin::EncodeFrame(5, "why"));
  }
}

TEST(WriteFaults, AFailedWriteEndsTheRunWithoutALineEndOrAMessage) {
  for (const CommandSample& sample : OfMode(ReplyMode::PRINT)) {
    Expect(sample, Fails("write", 1, 0), {.sent = sample.Request(), .after = "free free"});
    for (const Errno& error : ERRNOS) {
      Expect(sample, Fails("write", 1, error.number),
             {.status = error.status, .sent = sample.Request(), .after = "free free"});
    }
  }
}

TEST(WriteFaults, AShortWriteIsNotRepeated) {
  for (const CommandSample& sample : OfMode(ReplyMode::PRINT)) {
    for (const char* out : {"\n", "o\n"}) {
      Expect(sample, FallsShort("write", 1, std::strlen(out) - 1),
             {.out = out, .sent = sample.Request(), .after = "free free"});
    }
  }
}

// --- streams -----------------------------------------------------------------------

TEST(StreamFaults, AFailedReadEndsTheRunWithoutAMessageAndKeepsWhatWasPrinted) {
  for (const CommandSample& sample : OfMode(ReplyMode::STREAM)) {
    const auto expect = [&](int number, std::uint32_t status) {
      Expected expected = {.status = status, .sent = sample.Request(), .after = "free free"};
      Expect(sample, Fails("read", 1, number), expected);
      expected.out = "ok";
      Expect(sample, Fails("read", 2, number), expected);
    };
    expect(0, 0);
    for (const Errno& error : ERRNOS) {
      expect(error.number, error.status);
    }
  }
}

TEST(StreamFaults, AShortReadIsFollowedByAnotherButNothingIsTheEnd) {
  for (const CommandSample& sample : OfMode(ReplyMode::STREAM)) {
    Expect(sample, FallsShort("read", 1, 1),
           {.out = "ok", .sent = sample.Request(), .after = "read read free free"});
    Expect(sample, FallsShort("read", 1, 0), {.sent = sample.Request(), .after = "free free"});
  }
}

TEST(StreamFaults, AFailedReadKeepsWhatTheOutputFileHas) {
  const FakeRun run = RunInFakeSystem({"stats", "-o", "f"}, "ok", Fails("read", 2, 104));
  EXPECT_EQ(run.file, "ok");
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(run.status, 0x2bad0068U);
}

TEST(StreamFaults, AnOutputFileThatCannotBeOpenedEndsTheRunWithoutAMessage) {
  for (CommandSample& sample : OfMode(ReplyMode::STREAM)) {
    sample.words.insert(sample.words.end(), {"-o", "f"});
    Expect(sample, Fails("fopen", 1, 0), {.sent = sample.Request(), .after = "free free"});
    for (const Errno& error : ERRNOS) {
      Expect(sample, Fails("fopen", 1, error.number),
             {.status = error.status, .sent = sample.Request(), .after = "free free"});
    }
  }
}

}  // namespace
}  // namespace tests
