// Framing, as far as no command shows it: what the caller's arguments make of a message, and
// what a receive leaves in them. The fake system is the daemon.

#include "transport/message.h"

#include <gtest/gtest.h>

#include "tests/fake/system.h"
#include "tests/support/bytes.h"

namespace trel {
namespace {

using fake::DAEMON_SOCKET;
using tests::FromHex;
using tests::Zeros;
using Calls = std::vector<std::string>;

fake::System& SystemThatSends(std::string_view bytes) {
  fake::ResetSystem();
  fake::TheSystem().daemon = {.rest = bytes, .ending = fake::HangUp::SILENCE};
  return fake::TheSystem();
}

TEST(SendCommand, PutsTheLow32BitsOfTheLengthIntoTheHeader) {
  const fake::System& system = SystemThatSends("");
  fake::TheSystem().fault = {.call = "send", .occurrence = 2, .number = 90};
  // Where a length has 32 bits itself, these are all of it.
  constexpr auto LENGTH = static_cast<std::size_t>(0x1'8000'0002);
  ReturnStatus status = STATUS_OK;
  (void)fake::Contain([&] { status = SendCommand(DAEMON_SOCKET, 37, "", LENGTH); });
  EXPECT_EQ(status, 0x2bad005aU);
  EXPECT_EQ(system.sent, FromHex("00000025 80000002"));
  EXPECT_EQ(system.calls.back(), "send(socket, " + std::to_string(LENGTH) + ", 0) = -1 injected");
}

/// The out-values of a receive, with a mark in them that a call must overwrite.
struct Reply {
  ReturnStatus status = 0;
  std::uint32_t length = 4711;
  std::string payload = "untouched";
  Calls calls;
};

/// Receives these bytes; a receive that finds none runs into the time-out.
Reply Receive(const std::string& bytes) {
  fake::System& system = SystemThatSends(bytes);
  system.allocationLimit = std::size_t{1} << 24;
  Reply reply;
  const fake::PrintingIntoSystem printing;
  (void)fake::Contain([&] {
    void* payload = &reply;
    reply.status = ReceiveReply(DAEMON_SOCKET, &reply.length, &payload);
    if (payload == nullptr) {
      reply.payload = "none";
    } else if (payload != &reply) {
      reply.payload.assign(static_cast<char*>(payload), reply.length);
    }
  });
  reply.calls = system.calls;
  return reply;
}

TEST(ReceiveReply, HandsOutStatusLengthAndPayload) {
  const Reply reply = Receive(FromHex("deadbeef 00000003") + "abc");
  EXPECT_EQ(reply.status, 0xdeadbeefU);
  EXPECT_EQ(reply.length, 3U);
  EXPECT_EQ(reply.payload, "abc");
  EXPECT_EQ(Receive(Zeros(8)).length, 0U);
  EXPECT_EQ(Receive(Zeros(8)).payload, "none");
}

TEST(ReceiveReply, AcceptsNullOutPointers) {
  const std::string bytes = FromHex("00000008 00000001") + "x";
  (void)SystemThatSends(bytes);
  ReturnStatus status = STATUS_OK;
  (void)fake::Contain([&] { status = ReceiveReply(DAEMON_SOCKET, nullptr, nullptr); });
  EXPECT_EQ(status, 8U);
}

TEST(ReceiveReply, LeavesTheOutValuesUntouchedUnlessAllHasCome) {
  for (const char* bytes : {"", "00000005 0000000a 01"}) {
    const Reply reply = Receive(FromHex(bytes));
    EXPECT_EQ(reply.status, *bytes == '\0' ? 0x2bad000bU : 0U);
    EXPECT_EQ(reply.length, 4711U);
    EXPECT_EQ(reply.payload, "untouched");
  }
}

/// A payload of up to 1 MiB is zeroed in place, a longer one taken anew.
TEST(ReceiveReply, WhosePayloadFailsIsACompletePayloadOfZeros) {
  const Reply small = Receive(FromHex("00000005 00100000"));
  EXPECT_EQ(small.status, 5U);
  EXPECT_EQ(small.length, 0x100000U);
  EXPECT_EQ(small.payload, Zeros(small.length));
  EXPECT_EQ(small.calls.back(), "recv(socket, 1048576, wait for all) = -1");
  const Reply large = Receive(FromHex("00000005 00100001"));
  EXPECT_EQ(large.payload, Zeros(large.length));
  EXPECT_EQ(Calls(large.calls.end() - 2, large.calls.end()),
            (Calls{"free(#1)", "calloc(1, 1048577) = #2"}));
}

}  // namespace
}  // namespace trel
