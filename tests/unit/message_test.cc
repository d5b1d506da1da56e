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
  fake::TheSystem().allocationLimit = std::size_t{1} << 24;
  return fake::TheSystem();
}

TEST(SendCommand, PutsTheLow32BitsOfTheLengthIntoTheHeader) {
  fake::System& system = SystemThatSends("");
  system.fault = {.call = "send", .occurrence = 2, .number = 90};
  // Where a length has 32 bits itself, these are all of it.
  constexpr auto LENGTH = static_cast<std::size_t>(0x1'8000'0002);
  ReturnStatus status = STATUS_OK;
  (void)fake::Contain([&] { status = SendCommand(DAEMON_SOCKET, 37, "", LENGTH); });
  EXPECT_EQ(status, 0x2bad005aU);
  EXPECT_EQ(system.sent, FromHex("00000025 80000002"));
  EXPECT_EQ(system.calls.back(), "send(socket, " + std::to_string(LENGTH) + ", 0) = -1 injected");
}

/// A receive that finds no bytes runs into the time-out. A payload of up to 1 MiB is zeroed in
/// place then, a longer one taken anew.
TEST(ReceiveReply, WritesTheOutValuesOnceAllHasComeOrThePayloadsReceiveFails) {
  const struct {
    std::string bytes;
    ReturnStatus status;
    std::uint32_t length;
    std::string payload;
    Calls lastCalls;
  } rows[] = {
      {"", 0x2bad000b, 4711, "untouched", {"recv(socket, 8, wait for all) = -1"}},
      {FromHex("00000005 0000000a 01"), 0, 4711, "untouched", {"free(#1)"}},
      {Zeros(8), 0, 0, "none", {"recv(socket, 8, wait for all) = 8"}},
      {FromHex("deadbeef 00000003") + "abc",
       0xdeadbeef,
       3,
       "abc",
       {"recv(socket, 3, wait for all) = 3"}},
      {FromHex("00000005 00100000"),
       5,
       0x100000,
       Zeros(0x100000),
       {"recv(socket, 1048576, wait for all) = -1"}},
      {FromHex("00000005 00100001"),
       5,
       0x100001,
       Zeros(0x100001),
       {"free(#1)", "calloc(1, 1048577) = #2"}},
  };
  for (const auto& row : rows) {
    const fake::System& system = SystemThatSends(row.bytes);
    ReturnStatus status = 0;
    std::uint32_t length = 4711;
    std::string payload = "untouched";
    const auto receive = [&] {
      void* out = &payload;
      status = ReceiveReply(DAEMON_SOCKET, &length, &out);
      if (out == nullptr) {
        payload = "none";
      } else if (out != &payload) {
        payload.assign(static_cast<char*>(out), length);
      }
    };
    {
      const fake::PrintingIntoSystem printing;
      (void)fake::Contain(receive);
    }
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(length, row.length);
    EXPECT_TRUE(payload == row.payload);
    const auto count = static_cast<std::ptrdiff_t>(row.lastCalls.size());
    EXPECT_EQ(Calls(system.calls.end() - count, system.calls.end()), row.lastCalls);
  }
}

TEST(ReceiveReply, AcceptsNullOutPointers) {
  const std::string bytes = FromHex("00000008 00000001") + "x";
  (void)SystemThatSends(bytes);
  ReturnStatus status = STATUS_OK;
  (void)fake::Contain([&] { status = ReceiveReply(DAEMON_SOCKET, nullptr, nullptr); });
  EXPECT_EQ(status, 8U);
}

}  // namespace
}  // namespace trel
