// Numbers at the borders of 31, 32, 63 and 64 bits in every option and word that takes
// one. Options keep the low 32 bits of 64; the words of a rebalance keep all 64.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>

#include "cli/replies.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

/// A number as an option takes it: converted with 64 bits, of which it keeps 32.
struct Number {
  const char* text;
  bool accepted;
  std::uint32_t kept;
};

void PrintTo(const Number& number, std::ostream* out) { *out << number.text; }

const Number NUMBERS[] = {
    {"2147483647", true, 0x7fffffff},
    {"2147483648", true, 0x80000000},
    {"4294967295", true, 0xffffffff},
    {"4294967296", true, 0},
    {"4294967297", true, 1},
    {"6442450947", true, 0x80000003},
    {"9223372036854775807", true, 0xffffffff},
    {"9223372036854775808", true, 0},
    {"9223372036854775811", true, 3},
    {"18446744073709551614", true, 0xfffffffe},
    {"18446744073709551615", true, 0xffffffff},
    {"18446744073709551616", false, 0},
    {"99999999999999999999", false, 0},
    {"-1", true, 0xffffffff},
    {"-2147483648", true, 0x80000000},
    {"-4294967295", true, 1},
    {"-4294967296", true, 0},
    {"-9223372036854775808", true, 0},
    {"-18446744073709551613", true, 3},
    {"-18446744073709551615", true, 1},
    {"-18446744073709551616", false, 0},
    // Blanks and a sign before the digits, anything after them.
    {" \t+4294967298", true, 2},
    {"4294967298x", true, 2},
    {"0x7", true, 0},
    {"", true, 0},
    {"x", true, 0},
};

class NumberOf : public testing::TestWithParam<Number> {
 protected:
  static ClientResult Run(const Words& words) {
    return RunClientAgainst({.words = words, .steps = {ReadRequest{}, SendBytes{Zeros(8)}}});
  }
  static void ExpectRequest(const std::string& bytes, const ClientResult& run) {
    EXPECT_TRUE(SameBytes(bytes, run.request));
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.exitValue, 0);
  }
  static void ExpectRefused(const std::string& message, const ClientResult& run) {
    EXPECT_FALSE(run.called);
    EXPECT_EQ(run.err, message + "\n");
    EXPECT_EQ(run.exitValue, 1);
  }
};
INSTANTIATE_TEST_SUITE_P(Option, NumberOf, testing::ValuesIn(NUMBERS));

TEST_P(NumberOf, ATimeoutIsCheckedAndForgotten) {
  const auto& [text, accepted, kept] = GetParam();
  const ClientResult run = Run({"fix-concats", "-t", text});
  if (accepted) {
    ExpectRequest(FromHex("0000000d 00000000"), run);
  } else {
    ExpectRefused(std::string("Failed to parse wait timeout: ") + text, run);
  }
}

TEST_P(NumberOf, ADecomModeKeepsTheLow32Bits) {
  const auto& [text, accepted, kept] = GetParam();
  const ClientResult run = Run({"what-if-entity-decom", "-a", "-d", text});
  if (accepted) {
    ExpectRequest(FromHex("00000010 00000018") + Zeros(16) + InMemory(kept) + Zeros(4), run);
  } else {
    ExpectRefused(std::string("Failed to parse decomMode: ") + text, run);
  }
}

TEST_P(NumberOf, AReasonKeepsTheLow32Bits) {
  const auto& [text, accepted, kept] = GetParam();
  const ClientResult run = Run({"what-if-upgrade", "-l", UUID, "-r", text});
  if (accepted) {
    ExpectRequest(FromHex("00000011 00000045") + Zeros(20) + InMemory(kept) + Zeros(4) +
                      InMemory(std::uint32_t{1}) + UUID + Zeros(1),
                  run);
  } else {
    ExpectRefused(std::string("Failed to parse reason: ") + text, run);
  }
}

TEST_P(NumberOf, ARecoveryModeIsTestedAfterTheCut) {
  const auto& [text, accepted, kept] = GetParam();
  const ClientResult run = Run({"enable-trel-recovery-mode", "-m", text});
  if (accepted && kept <= 7) {
    ExpectRequest(FromHex("00000016 00000029") + "00000000-0000-0000-0000-000000000000" +
                      std::to_string(kept) + Zeros(4),
                  run);
  } else {
    ExpectRefused(std::string("Failed to parse recoveryMode: ") + text, run);
  }
}

TEST_P(NumberOf, AnExclusionModeIsTestedAfterTheCutAndReportedWithASign) {
  const auto& [text, accepted, kept] = GetParam();
  const ClientResult run = Run({"set-global-exclusion-list", "-x", "", "-X", text});
  if (!accepted) {
    ExpectRefused(std::string("Failed to parse exclusion mode: ") + text, run);
  } else if (kept > 3) {
    const auto withSign = static_cast<std::int32_t>(kept);
    ExpectRefused("Invalid exclusion mode: " + std::to_string(withSign), run);
  } else {
    ExpectRequest(FromHex("00000022 00017208") + InMemory(kept) + Zeros(94724), run);
  }
}

constexpr std::uint64_t LARGEST = std::numeric_limits<std::uint64_t>::max();

/// A number as the rebalance takes it: with all its 64 bits.
struct WideNumber {
  const char* text;
  std::uint64_t whole;  ///< as time span, time threshold and rate threshold
  double fraction;      ///< as variance threshold
};

void PrintTo(const WideNumber& number, std::ostream* out) { *out << number.text; }

const WideNumber WIDE_NUMBERS[] = {
    {"2147483647", 2147483647, 2147483647},
    {"2147483648", 2147483648, 2147483648},
    {"4294967295", 4294967295, 4294967295},
    {"4294967296", 4294967296, 4294967296},
    {"4294967297", 4294967297, 4294967297},
    {"9223372036854775807", 9223372036854775807, 0x1p63},
    {"9223372036854775808", 9223372036854775808U, 0x1p63},
    {"18446744073709551615", LARGEST, 0x1p64},
    // Beyond 64 bits: the largest number.
    {"18446744073709551616", LARGEST, 0x1p64},
    {"99999999999999999999", LARGEST, 1e20},
    // Below zero: wraps.
    {"-1", LARGEST, -1},
    {"-4294967296", LARGEST - 4294967295, -4294967296},
    {"-18446744073709551615", 1, -0x1p64},
    {"-99999999999999999999", LARGEST, -1e20},
    {" \t+4294967296s", 4294967296, 4294967296},
    {"1.75", 1, 1.75},
    {"1e300", 1, 1e300},
    {"0x10", 0, 16},
};

class RebalanceNumber : public testing::TestWithParam<WideNumber> {};
INSTANTIATE_TEST_SUITE_P(Word, RebalanceNumber, testing::ValuesIn(WIDE_NUMBERS));

TEST_P(RebalanceNumber, KeepsAll64Bits) {
  const auto& [text, whole, fraction] = GetParam();
  const ClientResult run =
      RunClientAgainst({.words = {"start-proactive-rebalance", "--", text, text, text, text},
                        .steps = {ReadRequest{}, SendBytes{Zeros(8)}}});
  EXPECT_TRUE(SameBytes(FromHex("0000000a 00000020") + InMemory(whole) + InMemory(fraction) +
                            InMemory(whole) + InMemory(whole),
                        run.request));
  EXPECT_EQ(run.err, "");
}

TEST(RebalanceWords, ThatDoNotConvertLeaveTheDefaultAndAFifthIsIgnored) {
  const std::string fraction = InMemory(0.3);
  const auto payload = [&](std::uint64_t span, std::uint64_t time, std::uint64_t rate) {
    return FromHex("0000000a 00000020") + InMemory(span) + fraction + InMemory(time) +
           InMemory(rate);
  };
  const struct {
    Words words;
    std::string request;
  } rows[] = {
      {{}, payload(86400, 1800, 14913081)},
      {{"default", "default", "default", "default"}, payload(86400, 1800, 14913081)},
      {{"", "x", "-", "+", "9"}, payload(86400, 1800, 14913081)},
      {{"1", "default", "2", "3", "9"}, payload(1, 2, 3)},
  };
  for (const auto& row : rows) {
    Words words = {"start-proactive-rebalance", "--"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    const ClientResult run =
        RunClientAgainst({.words = words, .steps = {ReadRequest{}, SendBytes{Zeros(8)}}});
    EXPECT_TRUE(SameBytes(row.request, run.request));
  }
}

/// The word of log-level and block-cdb-cb that their check reads, at the index of the
/// last long option in the option table. The check fails for the largest 64-bit number
/// alone, and for what is beyond 64 bits.
struct CheckedWord {
  const char* text;
  bool passes;
};

void PrintTo(const CheckedWord& word, std::ostream* out) { *out << word.text; }

const CheckedWord CHECKED_WORDS[] = {
    {"2147483647", true},
    {"4294967295", true},
    {"4294967296", true},
    {"9223372036854775807", true},
    {"18446744073709551614", true},
    {"18446744073709551615", false},
    {"18446744073709551616", false},
    {"-1", false},
    {" -1x", false},
    {"-2", true},
    {"-4294967297", true},
    {"-18446744073709551615", true},
    {"-18446744073709551616", false},
    {"", true},
    {"x", true},
};

class CheckIndex : public testing::TestWithParam<CheckedWord> {
 protected:
  /// `--json` is number 6 of the option table. The words: trel-tool, -s, <path>,
  /// --json={}, --, <command>, <text>.
  static ClientResult Run(const std::string& command) {
    return RunClientAgainst({.words = {"--json={}", "--", command, GetParam().text},
                             .steps = {ReadRequest{}, SendBytes{Zeros(8)}}});
  }
};
INSTANTIATE_TEST_SUITE_P(Word, CheckIndex, testing::ValuesIn(CHECKED_WORDS));

TEST_P(CheckIndex, OfALogLevelIsReadWith64Bits) {
  const ClientResult run = Run("log-level");
  if (GetParam().passes) {
    EXPECT_TRUE(SameBytes(standin::EncodeFrame(7, GetParam().text), run.request));
    EXPECT_EQ(run.err, "");
  } else {
    EXPECT_FALSE(run.called);
    EXPECT_EQ(run.err, "Log level must be specified. E.g.: trel-tool log-level 2\n");
  }
}

TEST_P(CheckIndex, OfACallbackWordIsReadWith64Bits) {
  const ClientResult run = Run("block-cdb-cb");
  EXPECT_EQ(run.called, GetParam().passes);
  EXPECT_EQ(run.err, GetParam().passes ? "" : "Callback entry and event type must be provided.\n");
}

}  // namespace
}  // namespace tests
