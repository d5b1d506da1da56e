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

/// Kept on purpose: a failure that leaves errno at 0 ends with success.
const Errno NO_ERRNO = {0, 0, nullptr, "Success"};
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

std::vector<Errno> ErrnosAndNone() {
  std::vector<Errno> all(std::begin(ERRNOS), std::end(ERRNOS));
  all.push_back(NO_ERRNO);
  return all;
}

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

/// The names of the calls that follow the first `count` of those that `is` finds.
template <typename Predicate>
std::string NamesAfter(const std::vector<std::string>& calls, int count, Predicate is) {
  std::string names;
  for (const std::string& call : calls) {
    if (count == 0) {
      names += (names.empty() ? "" : " ") + call.substr(0, call.find('('));
    }
    count -= count != 0 && is(call) ? 1 : 0;
  }
  return names;
}

/// The calls of a good run after this one, as call_order_test.cc pins them.
std::string GoodRunAfter(const CommandSample& sample, const std::string& name, int occurrence) {
  return NamesAfter(RunInFakeSystem(sample.words, OkReply(sample)).calls, occurrence,
                    [&](const std::string& call) { return call.starts_with(name + "("); });
}

/// Runs the sample against a daemon that sends `reply`, or "ok" if that is empty.
void Expect(const CommandSample& sample, const Fault& fault, const Expected& expected,
            const std::string& reply = "") {
  SCOPED_TRACE(sample.name + ", " + std::string(fault.call) + " " +
               std::to_string(fault.occurrence) + ", " + std::to_string(fault.number));
  const FakeRun run = RunInFakeSystem(sample.words, reply.empty() ? OkReply(sample) : reply, fault);
  EXPECT_TRUE(SameBytes(expected.out, run.out));
  EXPECT_EQ(run.err, expected.err);
  EXPECT_EQ(run.ending, expected.ending);
  EXPECT_EQ(run.status, expected.status);
  EXPECT_TRUE(SameBytes(expected.sent, run.sent));
  EXPECT_EQ(NamesAfter(run.calls, 1, [](const auto& call) { return call.ends_with(" injected"); }),
            expected.after);
}

std::vector<CommandSample> Framed() {
  return Only(SampleOfEachPayload(), &CommandSample::IsFramed);
}

std::vector<CommandSample> OfMode(ReplyMode mode) {
  return Only(SampleOfEachPayload(), [&](const auto& sample) { return sample.mode == mode; });
}

std::string AfterLastSend(const CommandSample& sample) {
  return GoodRunAfter(sample, "send", sample.payload.empty() ? 1 : 2);
}

/// A reply of which nothing is left to receive: an empty success.
Expected EmptySuccess(const CommandSample& sample) {
  return {.out = sample.mode == ReplyMode::PRINT ? "\n" : "",
          .sent = sample.Request(),
          .after = GoodRunAfter(sample, "recv", 2)};
}

/// An error reply, of which `after` follows.
Expected ErrorReply(const CommandSample& sample, std::uint32_t status, const std::string& text,
                    const std::string& after = "free free") {
  return {.err = "Error received: " + text + "\n",
          .status = status,
          .sent = sample.Request(),
          .after = after};
}

// --- before the request ------------------------------------------------------------

TEST(SetupFaults, AFailedSignalIsReportedAndTheRunGoesOn) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    Expect(sample, Fails("signal", 1, 22),
           {.out = OkOutput(sample),
            .err = "Cannot register SIGPIPE handler",
            .sent = sample.Request(),
            .after = GoodRunAfter(sample, "signal", 1)});
  }
}

TEST(SetupFaults, MemoryThatCannotBeHadAborts) {
  const auto expect = [](const CommandSample& sample, const Fault& fault, const char* text,
                         const std::string& sent = "") {
    Expect(sample, fault,
           {.err = std::string(text) + ": Failed to allocate new memory\n",
            .sent = sent,
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
    if (sample.IsFramed()) {
      expect(sample, Fails("malloc", 1, 12), "TREL_SafeMalloc:3116", sample.Request());
    }
  }
}

/// Nothing is sent, the lists alone are released, the usage text stays away.
TEST(SetupFaults, AFailedConnectionEndsWithFailureForAnyErrno) {
  const auto expect = [](const CommandSample& sample, const Fault& fault, const std::string& text) {
    Expect(sample, fault, {.err = text + "\n", .status = 0x0bad0001, .after = "free free"});
  };
  for (const CommandSample& sample : SampleOfEachPayload()) {
    for (const Errno& error : ErrnosAndNone()) {
      const std::string reason = error.libraryText;
      expect(sample, Fails("socket", 1, error.number), "socket error: " + reason);
      expect(sample, Fails("setsockopt", 1, error.number), "set timeout error: " + reason);
      expect(sample, Fails("connect", 1, error.number), "connect error: " + reason);
    }
    // Any result but 0 is a failure.
    expect(sample, FallsShort("setsockopt", 1, 1),
           "set timeout error: Numerical result out of range");
  }
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
    Expected expected = {.out = OkOutput(sample), .after = AfterLastSend(sample)};
    Expect(sample, Fails("send", 1, 0), expected);
    if (!sample.payload.empty()) {
      expected.sent = sample.header;
      Expect(sample, Fails("send", 2, 0), expected);
    }
  }
}

TEST(SendFaults, AShortSendIsNotRepeated) {
  for (const CommandSample& sample : SampleOfEachPayload()) {
    Expected expected = {.out = OkOutput(sample), .after = GoodRunAfter(sample, "send", 1)};
    for (const std::size_t bytes : {0UL, 1UL, 7UL}) {
      expected.sent = sample.header.substr(0, bytes) + sample.payload;
      Expect(sample, FallsShort("send", 1, bytes), expected);
    }
    if (sample.payload.empty()) {
      continue;
    }
    expected.after = AfterLastSend(sample);
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, sample.payload.size() - 1}) {
      expected.sent = sample.header + sample.payload.substr(0, bytes);
      Expect(sample, FallsShort("send", 2, bytes), expected);
    }
  }
}

// --- framed replies ----------------------------------------------------------------

TEST(ReplyFaults, AFailedHeaderReceiveIsAnErrorWithoutPayload) {
  for (const CommandSample& sample : Framed()) {
    for (const Errno& error : ERRNOS) {
      Expect(sample, Fails("recv", 1, error.number),
             ErrorReply(sample, error.status, std::string(error.statusText) + ": (null)"));
    }
    Expect(sample, Fails("recv", 1, 0), EmptySuccess(sample));
  }
}

TEST(ReplyFaults, AShortHeaderReceiveLeavesTheRestZero) {
  const std::string reply = FromHex("01020304 00000002") + "ok";
  for (const CommandSample& sample : Framed()) {
    for (const auto& [bytes, status, text] : {std::tuple{1U, 0x01000000U, "0x01000000"},
                                              {2U, 0x01020000U, "0x01020000"},
                                              {3U, 0x01020300U, "0x01020300"},
                                              {4U, 0x01020304U, "0x01020304"},
                                              {5U, 0x01020304U, "0x01020304"},
                                              {6U, 0x01020304U, "0x01020304"},
                                              {7U, 0x01020304U, "0x01020304"}}) {
      Expect(sample, FallsShort("recv", 1, bytes),
             ErrorReply(sample, status, std::string("Unknown status ") + text + ": (null)"), reply);
    }
    Expect(sample, FallsShort("recv", 1, 0), EmptySuccess(sample), reply);
  }
}

TEST(ReplyFaults, AFailedPayloadReceivePassesAsACompletePayloadOfZeros) {
  for (const CommandSample& sample : Framed()) {
    Expected success = EmptySuccess(sample);
    success.out.insert(0, sample.mode == ReplyMode::PRINT ? Zeros(2) : "");
    for (const Errno& error : ErrnosAndNone()) {
      Expect(sample, Fails("recv", 2, error.number), success);
    }
    Expect(sample, Fails("recv", 2, 11),
           ErrorReply(sample, 5, "Unknown status 0x00000005: ", "free free free"),
           standin::EncodeFrame(5, "why"));
  }
}

TEST(ReplyFaults, AShortPayloadReceiveWarnsAndIsAnEmptySuccess) {
  for (const CommandSample& sample : Framed()) {
    Expected empty = EmptySuccess(sample);
    empty.err = "Failed to receive the complete UDS message sent. Please try again";
    empty.after.insert(0, "free ");
    Expect(sample, FallsShort("recv", 2, 0), empty);
    Expect(sample, FallsShort("recv", 2, 1), empty);
    // An error reply is forgotten too.
    Expect(sample, FallsShort("recv", 2, 2), empty, standin::EncodeFrame(5, "why"));
  }
}

// --- output ------------------------------------------------------------------------

TEST(OutputFaults, EndTheRunWithoutAMessageAndKeepWhatWasPrinted) {
  for (const Errno& error : ErrnosAndNone()) {
    const auto expect = [&](const CommandSample& sample, const char* call, int occurrence,
                            const char* out) {
      Expect(sample, Fails(call, occurrence, error.number),
             {.out = out, .status = error.status, .sent = sample.Request(), .after = "free free"});
    };
    for (const CommandSample& sample : OfMode(ReplyMode::PRINT)) {
      expect(sample, "write", 1, "");
    }
    for (CommandSample& sample : OfMode(ReplyMode::STREAM)) {
      expect(sample, "read", 1, "");
      expect(sample, "read", 2, "ok");
      sample.words.insert(sample.words.end(), {"-o", "f"});
      expect(sample, "fopen", 1, "");
    }
  }
  const FakeRun run = RunInFakeSystem({"stats", "-o", "f"}, "ok", Fails("read", 2, 104));
  EXPECT_EQ(run.file, "ok");
  EXPECT_EQ(run.status, 0x2bad0068U);
}

TEST(OutputFaults, AShortWriteIsNotRepeated) {
  for (const CommandSample& sample : OfMode(ReplyMode::PRINT)) {
    for (const char* out : {"\n", "o\n"}) {
      Expect(sample, FallsShort("write", 1, std::strlen(out) - 1),
             {.out = out, .sent = sample.Request(), .after = "free free"});
    }
  }
}

TEST(OutputFaults, AShortReadIsFollowedByAnotherButNothingIsTheEnd) {
  for (const CommandSample& sample : OfMode(ReplyMode::STREAM)) {
    Expect(sample, FallsShort("read", 1, 1),
           {.out = "ok", .sent = sample.Request(), .after = "read read free free"});
    Expect(sample, FallsShort("read", 1, 0), {.sent = sample.Request(), .after = "free free"});
  }
}

}  // namespace
}  // namespace tests
