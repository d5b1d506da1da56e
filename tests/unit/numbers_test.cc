// Numbers at the borders of 31, 32, 63 and 64 bits in every option and word that takes
// one. Options keep the low 32 bits of 64; the words of a rebalance keep all 64.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

/// A number as an option takes it: converted with 64 bits, of which it keeps 32.
struct Number {
  const char* text;
  bool accepted;
  std::uint32_t kept;
};

const Number NUMBERS[] = {
    {"0", true, 0},
    {"3", true, 3},
    {"4", true, 4},
    {"7", true, 7},
    {"8", true, 8},
    {"2147483647", true, 0x7fffffff},
    {"2147483648", true, 0x80000000},
    {"4294967295", true, 0xffffffff},
    {"4294967296", true, 0},
    {"4294967299", true, 3},
    {"6442450947", true, 0x80000003},
    {"9223372036854775807", true, 0xffffffff},
    {"9223372036854775808", true, 0},
    {"9223372036854775811", true, 3},
    {"18446744073709551614", true, 0xfffffffe},
    {"18446744073709551615", true, 0xffffffff},
    {"18446744073709551616", false, 0},
    {"18446744073709551616x", false, 0},
    {"99999999999999999999", false, 0},
    {"-99999999999999999999", false, 0},
    {"-1", true, 0xffffffff},
    {"-2147483648", true, 0x80000000},
    {"-4294967293", true, 3},
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

/// Runs `words` and the number's text. Its request has this code and payload if the number
/// is in range, else `message` is reported.
void Expect(Words words, const Number& number, bool inRange, unsigned code,
            const std::string& payload, const std::string& message) {
  SCOPED_TRACE(words[0] + " " + words.back() + " " + number.text);
  words.emplace_back(number.text);
  const FakeRun run = RunInFakeSystem(std::move(words), Zeros(8));
  if (inRange) {
    ExpectRequest(run, code, payload);
  } else {
    ExpectRefusal(run, message + "\n");
  }
}

TEST(NumberOption, KeepsTheLow32Bits) {
  for (const Number& number : NUMBERS) {
    const std::string text = number.text;
    Expect({"fix-concats", "-t"}, number, number.accepted, 13, "",
           "Failed to parse wait timeout: " + text);
    Expect({"what-if-entity-decom", "-a", "-d"}, number, number.accepted, 16,
           Zeros(16) + InMemory(number.kept) + Zeros(4), "Failed to parse decomMode: " + text);
    Expect(
        {"what-if-upgrade", "-l", UUID, "-r"}, number, number.accepted, 17,
        Zeros(20) + InMemory(number.kept) + Zeros(4) + InMemory(std::uint32_t{1}) + UUID + Zeros(1),
        "Failed to parse reason: " + text);
  }
}

TEST(NumberOption, OfAModeIsTestedAfterTheCut) {
  for (const Number& number : NUMBERS) {
    const std::string text = number.text;
    Expect({"enable-trel-recovery-mode", "-m"}, number, number.accepted && number.kept <= 7, 22,
           "00000000-0000-0000-0000-000000000000" + std::to_string(number.kept) + Zeros(4),
           "Failed to parse recoveryMode: " + text);
    const auto withSign = static_cast<std::int32_t>(number.kept);
    Expect({"set-global-exclusion-list", "-x", "", "-X"}, number,
           number.accepted && number.kept <= 3, 34, InMemory(number.kept) + Zeros(94724),
           number.accepted ? "Invalid exclusion mode: " + std::to_string(withSign)
                           : "Failed to parse exclusion mode: " + text);
  }
}

constexpr std::uint64_t LARGEST = ~std::uint64_t{0};

/// A number as the rebalance takes it: with all its 64 bits.
struct WideNumber {
  const char* text;
  std::uint64_t whole;  ///< as time span, time threshold and rate threshold
  double fraction;      ///< as variance threshold
};

const WideNumber WIDE_NUMBERS[] = {
    {"4294967295", 4294967295, 4294967295},
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
    {"1e999", 1, HUGE_VAL},
    {"0x10", 0, 16},
    {"0x1p-1", 0, 0.5},
};

/// What start-proactive-rebalance sends for these words.
std::string Rebalance(const Words& more) {
  Words words = {"start-proactive-rebalance", "--"};
  words.insert(words.end(), more.begin(), more.end());
  return RunInFakeSystem(std::move(words), Zeros(8)).sent;
}

std::string RebalanceRequest(std::uint64_t span, double variance, std::uint64_t time,
                             std::uint64_t rate) {
  return FromHex("0000000a 00000020") + InMemory(span) + InMemory(variance) + InMemory(time) +
         InMemory(rate);
}

TEST(RebalanceWords, KeepAll64Bits) {
  for (const auto& [text, whole, fraction] : WIDE_NUMBERS) {
    EXPECT_TRUE(SameBytes(RebalanceRequest(whole, fraction, whole, whole),
                          Rebalance({text, text, text, text})))
        << text;
  }
  EXPECT_TRUE(SameBytes(RebalanceRequest(86400, -HUGE_VAL, 1800, 14913081),
                        Rebalance({"default", "-infinity"})));
  // A NaN is one, whatever its sign and payload.
  double nan = 0;
  const std::string request = Rebalance({"default", "nan"});
  std::memcpy(&nan, &request.at(16), sizeof nan);
  EXPECT_TRUE(std::isnan(nan));
}

TEST(RebalanceWords, ThatDoNotConvertLeaveTheDefaultAndAFifthIsIgnored) {
  const std::string defaults = RebalanceRequest(86400, 0.3, 1800, 14913081);
  for (const Words& words : {Words{},
                             {"default", "default", "default", "default"},
                             {"", "x", "-", "+", "9"},
                             {"x1", "x1", "x1", "x1"},
                             {"%n", "%n", "%n", "%n"}}) {
    EXPECT_TRUE(SameBytes(defaults, Rebalance(words)));
  }
  EXPECT_TRUE(SameBytes(RebalanceRequest(1, 0.3, 1800, 14913081), Rebalance({"1"})));
  EXPECT_TRUE(SameBytes(RebalanceRequest(1, 0.5, 1800, 14913081), Rebalance({"1", ".5"})));
  EXPECT_TRUE(SameBytes(RebalanceRequest(1, 0.3, 2, 14913081), Rebalance({"1", "default", "2"})));
  EXPECT_TRUE(
      SameBytes(RebalanceRequest(1, 0.3, 2, 3), Rebalance({"1", "default", "2", "3", "9"})));
}

}  // namespace
}  // namespace tests
