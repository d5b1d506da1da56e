// Numbers beyond 32 bits through the real binary: unit tests run where they are built, this
// one also with the client of a machine whose `unsigned long` has 32 bits.

#include <gtest/gtest.h>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::EncodeFrame;
using Words = std::vector<std::string>;

TEST(WideNumbers, KeepTheirLow32BitsInOptionsAndAll64InWords) {
  const auto decom = [](std::uint32_t mode) {
    return EncodeFrame(16, Zeros(16) + InMemory(mode) + Zeros(4));
  };
  const auto rebalance = [](std::uint64_t span) {
    return EncodeFrame(10, InMemory(span) + InMemory(0.3) + InMemory(std::uint64_t{1800}) +
                               InMemory(std::uint64_t{14913081}));
  };
  const std::vector<std::pair<Words, std::string>> rows = {
      {{"what-if-entity-decom", "-a", "-d", "6442450947"}, decom(0x80000003)},
      {{"what-if-entity-decom", "-a", "-d", "18446744073709551615"}, decom(0xffffffff)},
      {{"what-if-entity-decom", "-a", "-d", "-18446744073709551615"}, decom(1)},
      {{"start-proactive-rebalance", "4294967297"}, rebalance(4294967297)},
      {{"start-proactive-rebalance", "18446744073709551614"}, rebalance(18446744073709551614U)},
      // --json is number 6 of the option table, and word 6 the level.
      {{"--json={}", "--", "log-level", "4294967295"}, EncodeFrame(7, "4294967295")},
      {{"--json={}", "--", "log-level", "-4294967297"}, EncodeFrame(7, "-4294967297")},
  };
  for (const auto& [words, request] : rows) {
    const ClientResult run = RunClientAgainst(
        {.words = words, .steps = {standin::ReadRequest{}, standin::SendBytes{Zeros(8)}}});
    EXPECT_TRUE(SameBytes(request, run.request));
    EXPECT_EQ(run.err, "");
  }
  const ClientResult refused =
      RunClientAgainst({.words = {"--json={}", "--", "log-level", "18446744073709551615"}});
  EXPECT_EQ(refused.err, "Log level must be specified. E.g.: trel-tool log-level 2\n");
}

}  // namespace
}  // namespace tests
