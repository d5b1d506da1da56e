// Reply handling: what is printed, which status the run ends with, which calls are
// made, for each reply mode.

#include "client/reply.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "support/bytes.h"
#include "support/temp_folder.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using tests::FromHex;
using tests::WrappedCalls;
using tests::Zeros;
using Calls = std::vector<std::string>;

constexpr int SOCKET = 9;
constexpr CommandCode CRAWLER_STATE = 26;

struct Handled {
  ReturnStatus status;
  std::string out;
  std::string err;
};

Handled Handle(CommandCode code, const ClientOptions& options = {},
               ReturnStatus sendStatus = STATUS_OK) {
  Handled handled{.status = 0, .out = "", .err = ""};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  handled.status = HandleReply(SOCKET, CommandOfCode(code), options, sendStatus);
  handled.err = testing::internal::GetCapturedStderr();
  handled.out = testing::internal::GetCapturedStdout();
  return handled;
}

/// Scripts a framed reply whose length word is true.
void ScriptReply(WrappedCalls& calls, const std::string& status, const std::string& payload) {
  const auto size = static_cast<unsigned char>(payload.size());
  calls.Script("recv", {.result = 8, .bytes = FromHex(status) + Zeros(3) + char(size)});
  if (!payload.empty()) {
    calls.Script("recv", {.result = long{size}, .bytes = payload});
  }
}

ClientOptions WithAll() {
  ClientOptions options;
  options.all = 1;
  return options;
}

// --- no reply --------------------------------------------------------------------

TEST(NoReply, IsTheStatusOfTheSendWithoutAWord) {
  for (const CommandCode code : {30U, 31U, 32U}) {
    for (const ReturnStatus sent : {STATUS_OK, 0x2bad0020U}) {
      WrappedCalls calls;
      const Handled handled = Handle(code, {}, sent);
      EXPECT_EQ(handled.status, sent);
      EXPECT_EQ(handled.out + handled.err, "");
      EXPECT_EQ(calls.Seen({"recv", "read", "write"}), Calls{});
    }
  }
}

// --- a failed send ---------------------------------------------------------------

TEST(FailedSend, OfAFramedCommandIsReported) {
  for (const CommandCode code : {2U, 3U, CRAWLER_STATE, 37U}) {
    WrappedCalls calls;
    const Handled handled = Handle(code, {}, 0x2bad0020);
    EXPECT_EQ(handled.status, 0x2bad0020U);
    EXPECT_EQ(handled.out, "");
    EXPECT_EQ(handled.err, "Sending command failed: Broken pipe\n");
    EXPECT_EQ(calls.Seen({"recv", "read", "write"}), Calls{});
  }
}

TEST(FailedSend, OfStatsIsSilent) {
  WrappedCalls calls;
  const Handled handled = Handle(1, {}, 0x2bad0020);
  EXPECT_EQ(handled.status, 0x2bad0020U);
  EXPECT_EQ(handled.out + handled.err, "");
  EXPECT_EQ(calls.Seen({"read", "recv", "fopen"}), Calls{});
}

TEST(FailedSend, OfTheCrawlerStateOfAllObjectsIsReported) {
  WrappedCalls calls;
  const Handled handled = Handle(CRAWLER_STATE, WithAll(), 0x2bad0020);
  EXPECT_EQ(handled.status, 0x2bad0020U);
  EXPECT_EQ(handled.err, "Sending command failed: Broken pipe\n");
  EXPECT_EQ(calls.Seen({"read", "recv", "fopen"}), Calls{});
}

// --- framed replies --------------------------------------------------------------

TEST(FramedReply, IsPrintedForThePrintingCommandsOnly) {
  const std::vector<CommandCode> printing = {3, 6, 9, 12, 14, 15, 16, 17, 23, 26, 35};
  for (CommandCode code = 2; code <= 37; ++code) {
    if (code >= 30 && code <= 32) {
      continue;
    }
    const bool prints = std::find(printing.begin(), printing.end(), code) != printing.end();
    WrappedCalls calls;
    ScriptReply(calls, "00000000", "text");
    const Handled handled = Handle(code);
    EXPECT_EQ(handled.status, STATUS_OK) << code;
    EXPECT_EQ(handled.out, prints ? "text\n" : "") << code;
    EXPECT_EQ(handled.err, "") << code;
  }
}

TEST(FramedReply, IsWrittenWithOneWriteOfItsExactLength) {
  WrappedCalls calls;
  const std::string payload = std::string("a\0b", 3);
  ScriptReply(calls, "00000000", payload);
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.out, payload + "\n");
  EXPECT_EQ(calls.Seen({"write"}), Calls{"write(1, 610062, 3)"});
  EXPECT_EQ(calls.Seen({"free"}), Calls{});
}

TEST(FramedReply, OfLengthZeroIsOneEmptyLineAndOneWriteOfNothing) {
  WrappedCalls calls;
  ScriptReply(calls, "00000000", "");
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, STATUS_OK);
  EXPECT_EQ(handled.out, "\n");
  EXPECT_EQ(calls.Seen({"write"}), Calls{"write(1, , 0)"});
}

TEST(FramedReply, APartialWriteIsAWholeOne) {
  WrappedCalls calls;
  ScriptReply(calls, "00000000", "text");
  calls.Script("write", {.result = 1});
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, STATUS_OK);
  EXPECT_EQ(handled.out, "\n");
  EXPECT_EQ(calls.Seen({"write"}).size(), 1U);
}

TEST(FramedReply, AFailedWriteEndsTheRunWithItsErrno) {
  for (const auto& [error, status] : std::initializer_list<std::pair<int, ReturnStatus>>{
           {EPIPE, 0x2bad0020}, {EBADF, 0x2bad0009}, {ENOSPC, 0x2bad001c}, {0, STATUS_OK}}) {
    WrappedCalls calls;
    ScriptReply(calls, "00000000", "text");
    calls.Script("write", {.result = -1, .error = error});
    const Handled handled = Handle(3);
    EXPECT_EQ(handled.status, status);
    EXPECT_EQ(handled.out + handled.err, "");
  }
}

TEST(FramedReply, WithAnErrorStatusIsReportedWithItsTextAndReleased) {
  for (const CommandCode code : {3U, 37U}) {
    WrappedCalls calls;
    ScriptReply(calls, "00000005", "bad uuid");
    const Handled handled = Handle(code);
    EXPECT_EQ(handled.status, 5U);
    EXPECT_EQ(handled.out, "");
    EXPECT_EQ(handled.err, "Error received: Unknown status 0x00000005: bad uuid\n");
    EXPECT_EQ(calls.Seen({"free"}).size(), 1U);
    EXPECT_EQ(calls.Seen({"write"}), Calls{});
  }
}

TEST(FramedReply, WithAnErrorStatusAndNoTextSaysNull) {
  WrappedCalls calls;
  ScriptReply(calls, "0bad0001", "");
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, STATUS_FAILURE);
  EXPECT_EQ(handled.err, "Error received: Failure: (null)\n");
}

TEST(FramedReply, AnErrorTextEndsAtItsFirstZeroByte) {
  WrappedCalls calls;
  ScriptReply(calls, "00000100", std::string("ab\0cd", 5));
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, 256U);
  EXPECT_EQ(handled.err, "Error received: Unknown status 0x00000100: ab\n");
}

TEST(FramedReply, AnErrorTextBeyondTheLargestIntIsStillBounded) {
  for (const char* length : {"7fffffff", "80000000", "ffffffff"}) {
    // Memory for a text of that length is obtained, but only its start is touched.
    WrappedCalls calls;
    calls.Script("recv", {.result = 8, .bytes = FromHex("00000001" + std::string(length))});
    calls.Script("recv", {.result = std::stol(length, nullptr, 16), .bytes = "text" + Zeros(1)});
    const Handled handled = Handle(3);
    EXPECT_EQ(handled.status, 1U);
    EXPECT_EQ(handled.err, "Error received: Unknown status 0x00000001: text\n");
  }
}

TEST(FramedReply, AnErrorTextIsNoFormat) {
  WrappedCalls calls;
  ScriptReply(calls, "00000001", "%n%s");
  EXPECT_EQ(Handle(3).err, "Error received: Unknown status 0x00000001: %n%s\n");
}

TEST(FramedReply, ThatDoesNotComeIsReportedWithoutAText) {
  for (const auto& [error, text] : std::initializer_list<std::pair<int, const char*>>{
           {EAGAIN, "No answer within the time-out"}, {ECONNRESET, "Connection reset by peer"}}) {
    WrappedCalls calls;
    calls.Script("recv", {.result = -1, .error = error});
    const Handled handled = Handle(3);
    EXPECT_EQ(handled.status, STATUS_ERRNO_BASE + static_cast<ReturnStatus>(error));
    EXPECT_EQ(handled.err, "Error received: " + std::string(text) + ": (null)\n");
  }
}

TEST(FramedReply, ThatFailsWithErrnoZeroIsAnEmptySuccess) {
  WrappedCalls calls;
  calls.Script("recv", {.result = -1, .error = 0});
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, STATUS_OK);
  EXPECT_EQ(handled.out, "\n");
}

TEST(FramedReply, WithAShortPayloadIsAnEmptySuccessWhateverItsStatus) {
  for (const char* status : {"00000000", "00000005"}) {
    WrappedCalls calls;
    calls.Script("recv", {.result = 8, .bytes = FromHex(status) + FromHex("0000000a")})
        .Script("recv", {.result = 4, .bytes = "four"});
    const Handled handled = Handle(3);
    EXPECT_EQ(handled.status, STATUS_OK);
    EXPECT_EQ(handled.out, "\n");
    EXPECT_EQ(handled.err, "Failed to receive the complete UDS message sent. Please try again");
  }
}

TEST(FramedReply, WhosePayloadFailsCountsAsCompleteAndIsAllZeros) {
  {
    WrappedCalls calls;
    calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 00000004")})
        .Script("recv", {.result = -1, .error = EAGAIN, .bytes = "junk"});
    const Handled handled = Handle(3);
    EXPECT_EQ(handled.status, STATUS_OK);
    EXPECT_EQ(handled.out, Zeros(4) + "\n");
    EXPECT_EQ(handled.err, "");
  }
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000005 00000004")})
      .Script("recv", {.result = -1, .error = EAGAIN, .bytes = "junk"});
  const Handled handled = Handle(3);
  EXPECT_EQ(handled.status, 5U);
  EXPECT_EQ(handled.err, "Error received: Unknown status 0x00000005: \n");
}

TEST(FramedReply, OfOneObjectsCrawlerStateIgnoresTheOutputPath) {
  ClientOptions options;
  options.outputPath = "/nonexistent/dir/f";
  WrappedCalls calls;
  ScriptReply(calls, "00000000", "text");
  EXPECT_EQ(Handle(CRAWLER_STATE, options).out, "text\n");
  EXPECT_EQ(calls.Seen({"fopen"}), Calls{});
}

// --- streamed replies ------------------------------------------------------------

TEST(Stream, IsReadInPiecesOf1023BytesUntilTheDaemonCloses) {
  WrappedCalls calls;
  calls.Script("read", {.result = 3, .bytes = "one"})
      .Script("read", {.result = 1023, .bytes = std::string(1023, 'x')})
      .Script("read", {.result = 0});
  const Handled handled = Handle(1);
  EXPECT_EQ(handled.status, STATUS_OK);
  EXPECT_EQ(handled.out, "one" + std::string(1023, 'x'));
  EXPECT_EQ(handled.err, "");
  EXPECT_EQ(calls.Seen({"read", "recv", "write"}),
            (Calls{"read(9, 1023)", "read(9, 1023)", "read(9, 1023)"}));
}

TEST(Stream, OfAllCrawlerStatesIsHandledLikeStats) {
  WrappedCalls calls;
  calls.Script("read", {.result = 5, .bytes = "state"}).Script("read", {.result = 0});
  const Handled handled = Handle(CRAWLER_STATE, WithAll());
  EXPECT_EQ(handled.status, STATUS_OK);
  EXPECT_EQ(handled.out, "state");
}

TEST(Stream, PrintsEachPieceUpToItsFirstZeroByte) {
  WrappedCalls calls;
  calls.Script("read", {.result = 5, .bytes = std::string("ab\0cd", 5)})
      .Script("read", {.result = 2, .bytes = std::string("\0x", 2)})
      .Script("read", {.result = 2, .bytes = "ef"})
      .Script("read", {.result = 0});
  EXPECT_EQ(Handle(1).out, "abef");
}

TEST(Stream, PrintsNothingOfAnEarlierPieceBehindAShorterOne) {
  WrappedCalls calls;
  calls.Script("read", {.result = 6, .bytes = "longer"})
      .Script("read", {.result = 1, .bytes = "s"})
      .Script("read", {.result = 0});
  EXPECT_EQ(Handle(1).out, "longers");
}

TEST(Stream, EndsWithSuccessWhateverErrnoHeldBefore) {
  WrappedCalls calls;
  calls.Script("read", {.result = 0, .error = EIO});
  EXPECT_EQ(Handle(1).status, STATUS_OK);
}

TEST(Stream, ThatFailsEndsWithItsErrnoAndKeepsWhatWasPrinted) {
  for (const auto& [error, status] : std::initializer_list<std::pair<int, ReturnStatus>>{
           {EAGAIN, 0x2bad000b}, {ECONNRESET, 0x2bad0068}, {0, STATUS_OK}}) {
    WrappedCalls calls;
    calls.Script("read", {.result = 4, .bytes = "kept"})
        .Script("read", {.result = -1, .error = error});
    const Handled handled = Handle(1);
    EXPECT_EQ(handled.status, status);
    EXPECT_EQ(handled.out, "kept");
    EXPECT_EQ(handled.err, "");
    EXPECT_EQ(calls.Seen({"read"}).size(), 2U);
  }
}

TEST(Stream, GoesToTheOutputPathOpenedBeforeTheFirstRead) {
  const tests::TempFolder folder;
  const std::string path = folder / "out";
  ClientOptions options;
  options.outputPath = path.c_str();
  {
    WrappedCalls calls;
    calls.Script("read", {.result = 4, .bytes = "text"}).Script("read", {.result = 0});
    const Handled handled = Handle(1, options);
    EXPECT_EQ(handled.status, STATUS_OK);
    EXPECT_EQ(handled.out + handled.err, "");
    EXPECT_EQ(calls.Seen({"fopen", "read"}),
              (Calls{"fopen(" + path + ", w)", "read(9, 1023)", "read(9, 1023)"}));
  }
  std::fflush(nullptr);  // the file is left open, as a run leaves it to its end
  EXPECT_EQ(tests::ReadFile(path), "text");
}

TEST(Stream, WhoseOutputPathDoesNotOpenEndsSilentlyWithItsErrno) {
  for (const auto& [error, status] : std::initializer_list<std::pair<int, ReturnStatus>>{
           {EACCES, 0x2bad000d}, {EISDIR, 0x2bad0015}, {0, STATUS_OK}}) {
    ClientOptions options;
    options.outputPath = "/tmp/never-opened";
    WrappedCalls calls;
    calls.Script("fopen", {.result = 0, .error = error});
    const Handled handled = Handle(1, options);
    EXPECT_EQ(handled.status, status);
    EXPECT_EQ(handled.out + handled.err, "");
    EXPECT_EQ(calls.Seen({"read"}), Calls{});
  }
}

}  // namespace
}  // namespace trel
