// Framing: what the bounds of a connection, the caller's arguments and the received
// bytes make of a message. Failing calls are injected into the real binary.

#include "transport/message.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/bytes.h"
#include "unit/packet_pair.h"

namespace trel {
namespace {

using tests::FromHex;
using tests::PacketPair;
using tests::SameBytes;
using tests::Zeros;
using Packets = std::vector<std::string>;

TEST(SendCommand, SendsHeaderAndPayloadAsTwoSends) {
  const PacketPair pair;
  EXPECT_EQ(SendCommand(pair.Client(), 0x01020304, "abc", 3), STATUS_OK);
  EXPECT_EQ(pair.Received(), (Packets{FromHex("01020304 00000003"), "abc"}));
}

TEST(SendCommand, WithoutPayloadSendsEightBytesOnly) {
  const PacketPair pair;
  EXPECT_EQ(SendCommand(pair.Client(), 1, nullptr, 0), STATUS_OK);
  EXPECT_EQ(pair.Received(), Packets{FromHex("00000001 00000000")});
}

TEST(SendCommand, PutsTheLow32BitsOfTheLengthIntoTheHeader) {
  // No packet can be that large: the second send fails before it reads the payload.
  const PacketPair pair;
  EXPECT_EQ(SendCommand(pair.Client(), 37, "", 0x1'8000'0002), 0x2bad005aU);
  EXPECT_EQ(pair.Received(), Packets{FromHex("00000025 80000002")});
}

TEST(SendCommand, ToADaemonThatHungUpIsABrokenPipe) {
  PacketPair pair;
  pair.HangUp();
  std::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(SendCommand(pair.Client(), 1, nullptr, 0), 0x2bad0020U);
}

/// The out-values of a receive, with a mark in them that a call must overwrite.
struct Reply {
  ReturnStatus status = 0;
  std::uint32_t length = 4711;
  void* payload = &length;
  std::string err;

  [[nodiscard]] bool IsUntouched() const { return length == 4711 && payload == &length; }
};

/// Receives a header and a payload that come in these packets. When there are no more,
/// a receive fails at once, as it does at the time-out, or finds the connection closed.
Reply Receive(const Packets& packets, bool hangUp = true) {
  PacketPair pair;
  for (const std::string& packet : packets) {
    pair.Send(packet);
  }
  if (hangUp) {
    pair.HangUp();
  } else {
    EXPECT_EQ(fcntl(pair.Client(), F_SETFL, O_NONBLOCK), 0);
  }
  Reply reply;
  testing::internal::CaptureStderr();
  reply.status = ReceiveReply(pair.Client(), &reply.length, &reply.payload);
  reply.err = testing::internal::GetCapturedStderr();
  return reply;
}

TEST(ReceiveReply, HandsOutStatusLengthAndPayload) {
  const Reply reply = Receive({FromHex("deadbeef 00000003"), "abc"});
  EXPECT_EQ(reply.status, 0xdeadbeefU);
  ASSERT_EQ(reply.length, 3U);
  EXPECT_EQ(std::string_view(static_cast<const char*>(reply.payload), 3), "abc");
  EXPECT_EQ(reply.err, "");
  std::free(reply.payload);
}

TEST(ReceiveReply, AcceptsNullOutPointers) {
  const PacketPair pair;
  pair.Send(FromHex("00000007 00000000"));
  EXPECT_EQ(ReceiveReply(pair.Client(), nullptr, nullptr), 7U);
  pair.Send(FromHex("00000008 00000001"));
  pair.Send("x");
  void* payload = nullptr;
  EXPECT_EQ(ReceiveReply(pair.Client(), nullptr, &payload), 8U);
  EXPECT_EQ(*static_cast<char*>(payload), 'x');
  std::free(payload);
}

TEST(ReceiveReply, ReadsTheMissingBytesOfAShortHeaderAsZero) {
  const std::string header = FromHex("01020304 00000000");
  const std::vector<ReturnStatus> expected = {0,          0x01000000, 0x01020000, 0x01020300,
                                              0x01020304, 0x01020304, 0x01020304, 0x01020304};
  for (std::size_t cut = 0; cut < 8; ++cut) {
    const Reply reply = Receive(cut == 0 ? Packets{} : Packets{header.substr(0, cut)});
    EXPECT_EQ(reply.status, expected[cut]) << cut;
    EXPECT_EQ(reply.length, 0U) << cut;
    EXPECT_EQ(reply.payload, nullptr) << cut;
    EXPECT_EQ(reply.err, "") << cut;
  }
}

TEST(ReceiveReply, WithAShortPayloadWarnsAndLeavesTheOutValuesUntouched) {
  // The second one is a header of seven bytes: a length of 256.
  for (const Packets& packets :
       {Packets{FromHex("00000005 0000000a"), "nine byte"}, Packets{FromHex("00000005 000001")}}) {
    const Reply reply = Receive(packets);
    EXPECT_EQ(reply.status, STATUS_OK);
    EXPECT_TRUE(reply.IsUntouched());
    EXPECT_EQ(reply.err, "Failed to receive the complete UDS message sent. Please try again");
  }
}

TEST(ReceiveReply, WithoutAHeaderInTimeIsTryAgainAndUntouched) {
  const Reply reply = Receive({}, false);
  EXPECT_EQ(reply.status, 0x2bad000bU);
  EXPECT_TRUE(reply.IsUntouched());
}

TEST(ReceiveReply, WhosePayloadFailsIsACompletePayloadOfZeros) {
  // Memory is handed out full of marks. The last two lengths are on both sides of the
  // bound up to which it is zeroed in place.
  mallopt(M_PERTURB, 0x5a);
  for (const char* length : {"00000064", "00100000", "00100001"}) {
    const Reply reply = Receive({FromHex("00000005 " + std::string(length))}, false);
    EXPECT_EQ(reply.status, 5U);
    EXPECT_EQ(reply.length, std::stoul(length, nullptr, 16));
    EXPECT_TRUE(SameBytes(Zeros(reply.length), {static_cast<char*>(reply.payload), reply.length}));
    EXPECT_EQ(reply.err, "");
    std::free(reply.payload);
  }
  mallopt(M_PERTURB, 0);
}

}  // namespace
}  // namespace trel
