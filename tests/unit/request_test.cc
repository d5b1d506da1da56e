// Sending the request: which sends are made for each kind of payload.

#include "client/request.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

#include "unit/command_line.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::Options;
using tests::UuidList;
using tests::WrappedCalls;
using Calls = std::vector<std::string>;
using BuildAndSendRequestDeathTest = testing::Test;

constexpr int SOCKET = 9;

/// The first word of a header, in hexadecimal.
std::string CodeWord(CommandCode code) {
  constexpr char DIGITS[] = "0123456789abcdef";
  return std::string("000000") + DIGITS[code >> 4] + DIGITS[code & 15];
}

/// Parses `words`, then sends the request of `code` with every call scripted.
ReturnStatus Send(WrappedCalls& calls, CommandCode code, const std::vector<std::string>& words,
                  int commandArgIndex = 0) {
  CommandLine line(words);
  const Options options;
  EXPECT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
  options->commandArgIndex = commandArgIndex;
  calls.Script("send", {.result = 8}).Script("send", {.result = 1});
  return BuildAndSendRequest(SOCKET, code, *options, line.Count(), line.Vector());
}

/// Header and size of the request of `code`, as two sends or one.
void ExpectRequest(CommandCode code, const std::vector<std::string>& words,
                   const std::string& header, std::size_t length, int commandArgIndex = 0) {
  SCOPED_TRACE(header);
  WrappedCalls calls;
  EXPECT_EQ(Send(calls, code, words, commandArgIndex), STATUS_OK);
  const Calls sends = calls.Seen({"send"});
  ASSERT_EQ(sends.size(), length == 0 ? 1U : 2U);
  EXPECT_EQ(sends[0], "send(9, " + header + ", 8, 0)");
  if (length != 0) {
    EXPECT_TRUE(sends[1].ends_with(", " + std::to_string(length) + ", 0)")) << sends[1];
  }
}

TEST(BuildAndSendRequest, SendsAnEmptyPayloadAsHeaderAlone) {
  for (const CommandCode code :
       {1U, 3U, 5U, 6U, 11U, 12U, 13U, 18U, 27U, 28U, 29U, 30U, 32U, 35U}) {
    WrappedCalls calls;
    EXPECT_EQ(Send(calls, code, {"-a"}), STATUS_OK);
    EXPECT_EQ(calls.Seen({"send"}), Calls{"send(9, " + CodeWord(code) + "00000000, 8, 0)"});
  }
}

TEST(BuildAndSendRequest, SendsTheLengthOfEachKindOfPayload) {
  for (const CommandCode code : {2U, 8U, 9U, 14U, 15U, 23U, 36U, 37U}) {
    ExpectRequest(code, {"-a"}, CodeWord(code) + "00000024", 36);
  }
  ExpectRequest(4, {"-j", ""}, "0000000400000001", 1);
  ExpectRequest(4, {"-j", "{}"}, "0000000400000003", 3);
  ExpectRequest(7, {"log-level", "02"}, "0000000700000002", 2, 2);
  ExpectRequest(7, {"log-level", ""}, "0000000700000000", 0, 2);
  ExpectRequest(7, {"log-level"}, "0000000700000009", 9);
  ExpectRequest(10, {"start-proactive-rebalance"}, "0000000a00000020", 32);
  ExpectRequest(16, {}, "0000001000000018", 24);
  ExpectRequest(17, {"-l", UuidList(2)}, "000000110000006a", 106);
  ExpectRequest(17, {"-l", UuidList(2560)}, "0000001100017220", 94752);
  ExpectRequest(19, {}, "0000001300000011", 17);
  ExpectRequest(19, {"-f", std::string(4096, 'p')}, "0000001300001011", 4113);
  ExpectRequest(20, {}, "0000001400000001", 1);
  ExpectRequest(21, {"-f", "/x"}, "0000001500000003", 3);
  ExpectRequest(21, {"-f", std::string(4096, 'p')}, "0000001500001001", 4097);
  ExpectRequest(22, {"-m", "3"}, "0000001600000029", 41);
  ExpectRequest(24, {"-i", "MOVE"}, "0000001800000004", 4);
  ExpectRequest(25, {"-i", "CONCAT_IN_MIDDLE"}, "0000001900000004", 4);
  ExpectRequest(26, {"-a"}, "0000001a00000029", 41);
  ExpectRequest(31, {"block-cdb-cb", "add"}, "0000001f00000400", 1024, 2);
  ExpectRequest(33, {"-n", UuidList(1)}, "000000210002e418", 189464);
  ExpectRequest(34, {"-x", ""}, "0000002200017208", 94728);
}

TEST(BuildAndSendRequest, SendsAnUnknownCodeAsStats) {
  for (const CommandCode code : {0U, 38U, 0xffffffffU}) {
    ExpectRequest(code, {}, "0000000100000000", 0);
  }
}

TEST(BuildAndSendRequest, SendsTheProgramsNameAsLogLevelWhenNoWordFollows) {
  WrappedCalls calls;
  EXPECT_EQ(Send(calls, 7, {"log-level"}), STATUS_OK);
  EXPECT_EQ(calls.Seen({"send"}).at(1), "send(9, 7472656c2d746f6f6c, 9, 0)");
}

TEST(BuildAndSendRequest, ReturnsTheStatusOfTheSend) {
  for (CommandCode code = 1; code <= 37; ++code) {
    CommandLine line({"-j", "{}", "-i", "MOVE", "word"});
    const Options options;
    ASSERT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
    WrappedCalls calls;
    calls.Script("send", {.result = -1, .error = EPIPE});
    EXPECT_EQ(BuildAndSendRequest(SOCKET, code, *options, line.Count(), line.Vector()), 0x2bad0020U)
        << code;
    EXPECT_EQ(calls.Seen({"send"}).size(), 1U) << code;
    std::free(options->json);
  }
}

TEST(BuildAndSendRequest, AllocatesForTheGlobalExclusionOnlyAndReleasesIt) {
  for (const bool fails : {false, true}) {
    CommandLine line({"-x", UuidList(1)});
    const Options options;
    ASSERT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
    WrappedCalls calls;
    calls.Script("send", {.result = fails ? -1 : 8, .error = EPIPE})
        .Script("send", {.result = 94728});
    EXPECT_EQ(BuildAndSendRequest(SOCKET, 34, *options, line.Count(), line.Vector()),
              fails ? 0x2bad0020U : STATUS_OK);
    const Calls memory = calls.Seen({"calloc", "malloc", "free"});
    ASSERT_EQ(memory.size(), 2U);
    EXPECT_EQ(memory[0], "calloc(1, 94728)");
    EXPECT_TRUE(memory[1].starts_with("free(0x")) << memory[1];
  }
  for (CommandCode code = 1; code <= 37; ++code) {
    CommandLine line({"word"});
    const Options options;
    options->json = line.Vector()[1];
    WrappedCalls calls;
    calls.Script("send", {.result = 8}).Script("send", {.result = 8});
    EXPECT_EQ(BuildAndSendRequest(SOCKET, code, *options, line.Count(), line.Vector()), STATUS_OK);
    EXPECT_EQ(calls.Seen({"calloc", "malloc"}).size(), code == 34 ? 1U : 0U) << code;
  }
}

TEST_F(BuildAndSendRequestDeathTest, PanicsWhenTheGlobalExclusionCannotBeAllocated) {
  EXPECT_EXIT(
      {
        CommandLine line({"-x", ""});
        const Options options;
        WrappedCalls calls;
        calls.Script("calloc", {.result = 0, .error = ENOMEM});
        (void)BuildAndSendRequest(SOCKET, 34, *options, line.Count(), line.Vector());
      },
      testing::KilledBySignal(SIGABRT), "^TREL_SafeCalloc:3126: Failed to allocate new memory\n$");
}

TEST(SendCallbackBlockRequest, Sends1024BytesAndReadsNoReply) {
  CommandLine line({"block-cdb-cb", "update", "disk"});
  WrappedCalls calls;
  calls.Script("send", {.result = 8}).Script("send", {.result = 1024});
  EXPECT_EQ(SendCallbackBlockRequest(line.Count(), line.Vector(), 2, SOCKET, Uuid{}), STATUS_OK);
  EXPECT_EQ(
      calls.Seen({"send", "recv", "read"}),
      (Calls{"send(9, 0000001f00000400, 8, 0)",
             "send(9, "
             "313a333a30303030303030302d303030302d303030302d303030302d303030303030303030303030"
             "000000000000000000000000000000000000000000000000, 1024, 0)"}));
}

}  // namespace
}  // namespace trel
