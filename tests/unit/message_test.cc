// Framing: what is sent, what is received, which out-values stay untouched.

#include "transport/message.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "core/descriptor.h"
#include "core/frame.h"
#include "support/bytes.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using standin::Descriptor;
using tests::FromHex;
using tests::SameBytes;
using tests::WrappedCalls;
using tests::Zeros;
using Calls = std::vector<std::string>;
using ReceiveReplyDeathTest = testing::Test;

struct Pair {
  Descriptor client;
  Descriptor daemon;
};

Pair MakePair() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

TEST(SendCommand, SendsHeaderAndPayloadAsTwoSends) {
  WrappedCalls calls;
  calls.Script("send", {.result = 8}).Script("send", {.result = 3});
  EXPECT_EQ(SendCommand(9, 0x01020304, "abc", 3), STATUS_OK);
  EXPECT_EQ(calls.Seen({"send"}),
            (Calls{"send(9, 0102030400000003, 8, 0)", "send(9, 616263, 3, 0)"}));
}

TEST(SendCommand, WithoutPayloadSendsEightBytesOnly) {
  WrappedCalls calls;
  calls.Script("send", {.result = 8});
  EXPECT_EQ(SendCommand(9, 1, nullptr, 0), STATUS_OK);
  EXPECT_EQ(calls.Seen({"send"}), Calls{"send(9, 0000000100000000, 8, 0)"});
}

TEST(SendCommand, PutsTheLow32BitsOfTheLengthIntoTheHeader) {
  WrappedCalls calls;
  calls.Script("send", {.result = 8}).Script("send", {.result = -1, .error = EMSGSIZE});
  const std::string start(64, 'x');  // of a payload that this test does not make
  EXPECT_EQ(SendCommand(9, 37, start.data(), 0x1'8000'0002), 0x2bad005aU);
  EXPECT_EQ(calls.Seen({"send"}).at(0), "send(9, 0000002580000002, 8, 0)");
}

TEST(SendCommand, ReachesTheOtherEndUnchanged) {
  const Pair pair = MakePair();
  ASSERT_EQ(SendCommand(pair.client.Get(), 14, "payload", 7), STATUS_OK);
  EXPECT_TRUE(SameBytes(FromHex("0000000e 00000007") + "payload",
                        standin::ReadExactly(pair.daemon.Get(), 15)));
}

TEST(SendCommand, TakesASendOfNoByteForSuccessWhateverErrnoHolds) {
  WrappedCalls calls;
  calls.Script("send", {.result = 0, .error = EIO}).Script("send", {.result = 0, .error = EIO});
  EXPECT_EQ(SendCommand(9, 1, "abc", 3), STATUS_OK);
}

TEST(SendCommand, TakesAPartialSendForSuccessAndDoesNotRepeatIt) {
  WrappedCalls calls;
  calls.Script("send", {.result = 3}).Script("send", {.result = 0});
  EXPECT_EQ(SendCommand(9, 2, "abc", 3), STATUS_OK);
  EXPECT_EQ(calls.Seen({"send"}).size(), 2U);
}

TEST(SendCommand, AfterAFailedHeaderTriesNoPayload) {
  WrappedCalls calls;
  calls.Script("send", {.result = -1, .error = EPIPE});
  EXPECT_EQ(SendCommand(9, 2, "abc", 3), 0x2bad0020U);
  EXPECT_EQ(calls.Seen({"send"}).size(), 1U);
}

TEST(SendCommand, ReturnsTheStatusOfAFailedPayload) {
  WrappedCalls calls;
  calls.Script("send", {.result = 8}).Script("send", {.result = -1, .error = ECONNRESET});
  EXPECT_EQ(SendCommand(9, 2, "abc", 3), 0x2bad0068U);
}

TEST(SendCommand, ThatFailsWithErrnoZeroIsASuccess) {
  {
    WrappedCalls calls;
    calls.Script("send", {.result = -1, .error = 0});
    EXPECT_EQ(SendCommand(9, 2, "abc", 3), STATUS_OK);
    EXPECT_EQ(calls.Seen({"send"}).size(), 1U);
  }
  WrappedCalls calls;
  calls.Script("send", {.result = 8}).Script("send", {.result = -1, .error = 0});
  EXPECT_EQ(SendCommand(9, 2, "abc", 3), STATUS_OK);
}

TEST(SendCommand, ToADaemonThatHungUpIsABrokenPipe) {
  Pair pair = MakePair();
  pair.daemon.Close();
  std::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(SendCommand(pair.client.Get(), 1, nullptr, 0), 0x2bad0020U);
}

/// The out-values of a receive, with a mark in them that a call must overwrite.
struct Reply {
  ReturnStatus status = 0;
  std::uint32_t length = 4711;
  void* payload = &length;
  std::string err;

  [[nodiscard]] bool IsUntouched() const { return length == 4711 && payload == &length; }
};

/// Receives what `bytes` hold, after which the daemon hangs up.
Reply Receive(const std::string& bytes) {
  Pair pair = MakePair();
  standin::WriteAll(pair.daemon.Get(), bytes);
  pair.daemon.Close();
  Reply reply;
  testing::internal::CaptureStderr();
  reply.status = ReceiveReply(pair.client.Get(), &reply.length, &reply.payload);
  reply.err = testing::internal::GetCapturedStderr();
  return reply;
}

TEST(ReceiveReply, HandsOutStatusLengthAndPayload) {
  const Reply reply = Receive(FromHex("deadbeef 00000003") + "abc");
  EXPECT_EQ(reply.status, 0xdeadbeefU);
  ASSERT_EQ(reply.length, 3U);
  EXPECT_EQ(std::string_view(static_cast<const char*>(reply.payload), 3), "abc");
  EXPECT_EQ(reply.err, "");
  std::free(reply.payload);
}

TEST(ReceiveReply, WaitsForAllBytesWithOneReceiveEach) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 00000003")})
      .Script("recv", {.result = 3, .bytes = "abc"});
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
  EXPECT_EQ(calls.Seen({"recv", "malloc"}),
            (Calls{"recv(9, 8, 256)", "malloc(3)", "recv(9, 3, 256)"}));
  std::free(reply.payload);
}

TEST(ReceiveReply, OfLengthZeroHasANullPayloadAndNoSecondReceive) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = tests::Zeros(8)});
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
  EXPECT_EQ(reply.length, 0U);
  EXPECT_EQ(reply.payload, nullptr);
  EXPECT_EQ(calls.Seen({"recv", "malloc"}), Calls{"recv(9, 8, 256)"});
}

TEST(ReceiveReply, AcceptsNullOutPointers) {
  const Pair pair = MakePair();
  standin::WriteAll(pair.daemon.Get(), FromHex("00000007 00000000 00000008 00000001") + "x");
  EXPECT_EQ(ReceiveReply(pair.client.Get(), nullptr, nullptr), 7U);
  void* payload = nullptr;
  EXPECT_EQ(ReceiveReply(pair.client.Get(), nullptr, &payload), 8U);
  EXPECT_EQ(*static_cast<char*>(payload), 'x');
  std::free(payload);
}

TEST(ReceiveReply, OfADaemonThatHangsUpWithoutAWordIsAnEmptySuccess) {
  const Reply reply = Receive("");
  EXPECT_EQ(reply.status, STATUS_OK);
  EXPECT_EQ(reply.length, 0U);
  EXPECT_EQ(reply.payload, nullptr);
  EXPECT_EQ(reply.err, "");
}

TEST(ReceiveReply, ReadsTheMissingBytesOfAShortHeaderAsZero) {
  const std::string header = FromHex("01020304 00000000");
  const std::vector<ReturnStatus> expected = {0,          0x01000000, 0x01020000, 0x01020300,
                                              0x01020304, 0x01020304, 0x01020304, 0x01020304};
  for (std::size_t cut = 0; cut < 8; ++cut) {
    const Reply reply = Receive(header.substr(0, cut));
    EXPECT_EQ(reply.status, expected[cut]) << cut;
    EXPECT_EQ(reply.length, 0U) << cut;
    EXPECT_EQ(reply.payload, nullptr) << cut;
  }
}

TEST(ReceiveReply, TakesTheLengthOfAShortHeaderForWhatItIs) {
  // 00 00 00 05 00 00 01: a length of 256 of which nothing follows.
  const Reply reply = Receive(FromHex("00000005 000001"));
  EXPECT_EQ(reply.status, STATUS_OK);
  EXPECT_TRUE(reply.IsUntouched());
}

TEST(ReceiveReply, WithAShortPayloadWarnsAndLeavesTheOutValuesUntouched) {
  const Reply reply = Receive(FromHex("00000005 0000000a") + "four");
  EXPECT_EQ(reply.status, STATUS_OK);
  EXPECT_TRUE(reply.IsUntouched());
  EXPECT_EQ(reply.err, "Failed to receive the complete UDS message sent. Please try again");
}

TEST(ReceiveReply, ReleasesAShortPayload) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 0000000a")})
      .Script("recv", {.result = 9});
  Reply reply;
  testing::internal::CaptureStderr();
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(calls.Seen({"malloc", "free"}).size(), 2U);
  EXPECT_TRUE(reply.IsUntouched());
}

TEST(ReceiveReply, WhoseHeaderFailsIsTheStatusOfErrnoAndUntouched) {
  WrappedCalls calls;
  calls.Script("recv", {.result = -1, .error = ECONNRESET});
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), 0x2bad0068U);
  EXPECT_TRUE(reply.IsUntouched());
  EXPECT_EQ(calls.Seen({"recv"}).size(), 1U);
}

TEST(ReceiveReply, WhoseHeaderFailsWithErrnoZeroIsASuccess) {
  WrappedCalls calls;
  calls.Script("recv", {.result = -1, .error = 0});
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
  EXPECT_TRUE(reply.IsUntouched());
}

TEST(ReceiveReply, WithoutAnAnswerInTimeIsTryAgain) {
  const Pair pair = MakePair();
  const timeval second{.tv_sec = 1, .tv_usec = 0};
  ASSERT_EQ(setsockopt(pair.client.Get(), SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second), 0);
  Reply reply;
  EXPECT_EQ(ReceiveReply(pair.client.Get(), &reply.length, &reply.payload), 0x2bad000bU);
  EXPECT_TRUE(reply.IsUntouched());
}

TEST(ReceiveReply, WhosePayloadFailsIsACompletePayloadOfZeros) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000005 00000064")})
      .Script("recv", {.result = -1, .error = EAGAIN, .bytes = "stale"});
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), 5U);
  ASSERT_EQ(reply.length, 100U);
  EXPECT_TRUE(
      SameBytes(tests::Zeros(100), std::string_view(static_cast<const char*>(reply.payload), 100)));
  std::free(reply.payload);
}

/// The header of a successful reply with this many payload bytes, then a receive
/// that puts two bytes into the buffer and fails.
void ScriptFailedPayload(WrappedCalls& calls, const std::string& length) {
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 " + length)})
      .Script("recv", {.result = -1, .error = EAGAIN, .bytes = "no"});
}

TEST(ReceiveReply, WhosePayloadFailsIsZeroedWhereItStands) {
  for (const char* length : {"00000002", "00100000"}) {
    WrappedCalls calls;
    ScriptFailedPayload(calls, length);
    Reply reply;
    EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
    EXPECT_EQ(calls.Seen({"malloc", "calloc", "free"}).size(), 1U);
    EXPECT_TRUE(SameBytes(Zeros(reply.length), {static_cast<char*>(reply.payload), reply.length}));
    std::free(reply.payload);
  }
}

TEST(ReceiveReply, WhoseLongPayloadFailsTakesAsMuchOfZerosAnew) {
  WrappedCalls calls;
  ScriptFailedPayload(calls, "00100001");
  Reply reply;
  EXPECT_EQ(ReceiveReply(9, &reply.length, &reply.payload), STATUS_OK);
  EXPECT_EQ(calls.Seen({"malloc", "calloc"}), (Calls{"malloc(1048577)", "calloc(1, 1048577)"}));
  EXPECT_EQ(calls.Seen({"free"}).size(), 1U);
  EXPECT_TRUE(SameBytes(Zeros(reply.length), {static_cast<char*>(reply.payload), reply.length}));
  std::free(reply.payload);
}

TEST(ReceiveReply, WithMoreBytesThanAnnouncedLeavesThemOnTheSocket) {
  const Pair pair = MakePair();
  standin::WriteAll(pair.daemon.Get(), FromHex("00000000 00000001") + "abc");
  Reply reply;
  EXPECT_EQ(ReceiveReply(pair.client.Get(), &reply.length, &reply.payload), STATUS_OK);
  EXPECT_EQ(reply.length, 1U);
  EXPECT_EQ(standin::ReadExactly(pair.client.Get(), 2), "bc");
  std::free(reply.payload);
}

TEST_F(ReceiveReplyDeathTest, PanicsWhenThePayloadCannotBeAllocated) {
  EXPECT_EXIT(
      {
        WrappedCalls calls;
        calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 ffffffff")})
            .Script("malloc", {.result = 0, .error = ENOMEM});
        (void)ReceiveReply(9, nullptr, nullptr);
      },
      testing::KilledBySignal(SIGABRT), "^TREL_SafeMalloc:3116: Failed to allocate new memory\n$");
}

}  // namespace
}  // namespace trel
