// The payloads, as far as the examples of the contract do not show them: texts of
// every length, numbers of every spelling, words in every order.

#include "client/payload.h"

#include <gtest/gtest.h>

#include <string>

#include "client/argument_checks.h"
#include "support/bytes.h"
#include "unit/command_line.h"
#include "unit/packet_pair.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::FromHex;
using tests::Options;
using tests::PacketPair;
using tests::SameBytes;
using tests::UuidList;
using tests::Zeros;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string UUID_BYTES = FromHex("0123456789abcdef fedcba9876543210");

/// The payload that is sent for the command line `words`, which is accepted.
std::string PayloadOf(const Words& words) {
  CommandLine line(words);
  const Options options;
  const int index = ParseOptions(line.Count(), line.Vector(), *options).wordIndex;
  const CommandSpec* command = nullptr;
  EXPECT_FALSE(IsError(SelectCommand(line.Count(), line.Vector(), index, &command)));
  EXPECT_FALSE(
      IsError(CheckCommandArguments(*command, line.Count(), line.Vector(), index, *options)));
  const PacketPair pair;
  EXPECT_EQ(BuildAndSendRequest(pair.Client(), *command, *options, line.Count(), line.Vector()),
            STATUS_OK);
  const std::vector<std::string> packets = pair.Received();
  EXPECT_LE(packets.size(), 2U);
  return packets.size() == 2 ? packets[1] : "";
}

TEST(FormatUuidText, WritesLowerCaseDigitsInStorageOrder) {
  Uuid uuid;
  std::copy(UUID_BYTES.begin(), UUID_BYTES.end(), uuid.begin());
  UuidTextBuffer text;
  text.fill('#');
  FormatUuidText(uuid, text);
  EXPECT_TRUE(SameBytes(UUID + '\0', std::string_view(text.data(), text.size())));
}

TEST(CountUuidListEntries, GoesByTheLengthAlone) {
  EXPECT_EQ(CountUuidListEntries(""), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(35, ',').c_str()), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(36, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(72, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(73, 'x').c_str()), 2U);
  EXPECT_EQ(CountUuidListEntries(UuidList(2560).c_str()), 2560U);
}

TEST(UuidNumberText, HoldsEachDigit) {
  for (int mode = 0; mode <= 7; ++mode) {
    const std::string digit = std::to_string(mode);
    EXPECT_TRUE(SameBytes(UUID + digit + Zeros(4),
                          PayloadOf({"enable-trel-recovery-mode", "-u", UUID, "-m", digit})));
  }
}

// --- rebalance -------------------------------------------------------------------

constexpr char DEFAULT_SPAN[] = "8051010000000000";
constexpr char DEFAULT_VARIANCE[] = "333333333333d33f";
constexpr char DEFAULT_TIME[] = "0807000000000000";
constexpr char DEFAULT_RATE[] = "398ee30000000000";

/// The words after the command, and the four fields in hexadecimal.
struct RebalanceCase {
  Words words;
  std::string span = DEFAULT_SPAN;
  std::string variance = DEFAULT_VARIANCE;
  std::string time = DEFAULT_TIME;
  std::string rate = DEFAULT_RATE;
};

TEST(RebalanceParams, TakeWhatIsANumberOfUpToFourWords) {
  const std::string one = "0100000000000000";
  const std::string half = "000000000000e03f";
  const std::string all = "ffffffffffffffff";
  const std::vector<RebalanceCase> cases = {
      {.words = {}},
      {.words = {"1"}, .span = one},
      {.words = {"1", "0.5"}, .span = one, .variance = half},
      {.words = {"1", "0.5", "1"}, .span = one, .variance = half, .time = one},
      {.words = {"1", "0.5", "1", "1", "4", "5"},
       .span = one,
       .variance = half,
       .time = one,
       .rate = one},
      {.words = {"3600s", "0.5abc", "-1", " +1"},
       .span = "100e000000000000",
       .variance = half,
       .time = all,
       .rate = one},
      // Borders of 32 and 64 bits; sscanf(3) takes what is beyond for the largest.
      {.words = {"4294967296", "default", "18446744073709551615", "99999999999999999999"},
       .span = "0000000001000000",
       .time = all,
       .rate = all},
      {.words = {"default", "1e3"}, .variance = "0000000000408f40"},
      {.words = {"default", "-2.5"}, .variance = "00000000000004c0"},
      {.words = {"default", "0x1p-1"}, .variance = half},
      {.words = {"default", "inf"}, .variance = "000000000000f07f"},
      {.words = {"default", "-infinity"}, .variance = "000000000000f0ff"},
      {.words = {"default", "1e999"}, .variance = "000000000000f07f"},
      {.words = {"default", ".5"}, .variance = half},
      {.words = {"default", "default", "default", "default"}},
      {.words = {"", "", "", ""}},
      {.words = {"x1", "x1", "x1", "x1"}},
      {.words = {"%n", "%n", "%n", "%n"}},
  };
  for (const RebalanceCase& row : cases) {
    Words words = {"--", "start-proactive-rebalance"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    EXPECT_TRUE(SameBytes(FromHex(row.span + row.variance + row.time + row.rate), PayloadOf(words)))
        << testing::PrintToString(words);
  }
  // A NaN is one, whatever its sign and payload.
  const std::string nan = PayloadOf({"start-proactive-rebalance", "default", "nan"}).substr(8, 8);
  EXPECT_EQ(nan[7] & 0x7f, 0x7f);
  EXPECT_EQ(nan[6] & 0xf8, 0xf8);
}

TEST(RebalanceParams, WithoutWordsTakeNoNumberFromTheProgramsName) {
  std::string name = "7";
  char* words[] = {name.data(), nullptr};
  const Options options;
  const PacketPair pair;
  EXPECT_EQ(SendRebalanceParams({pair.Client(), 10, *options, 1, words}), STATUS_OK);
  EXPECT_TRUE(SameBytes(FromHex(std::string(DEFAULT_SPAN)), pair.Received().at(1).substr(0, 8)));
}

// --- lists and paths -------------------------------------------------------------

TEST(UpgradeWhatIf, FillsInEveryFieldOfTheHeadAndCountsTheTerminator) {
  const std::string entry(36, 'x');
  EXPECT_TRUE(SameBytes(UUID_BYTES + FromHex("04030201 08070605 01 000000 01000000") + entry + '\0',
                        PayloadOf({"what-if-upgrade", "-u", UUID, "-d", "16909060", "-r",
                                   "84281096", "-w", "-l", entry})));
  EXPECT_TRUE(SameBytes(Zeros(28) + FromHex("000a0000") + UuidList(2560) + '\0',
                        PayloadOf({"what-if-upgrade", "-l", UuidList(2560)})));
  EXPECT_TRUE(SameBytes(Zeros(28) + FromHex("01000000") + entry + '\0',
                        PayloadOf({"what-if-upgrade", "-l", UuidList(5), "-l", entry})));
}

TEST(Reconfigure, CountsThePathAndItsTerminator) {
  const std::string longest(4096, 'p');
  for (const std::string& path : {std::string(), std::string("/tmp/x"), longest}) {
    EXPECT_TRUE(SameBytes(UUID_BYTES + path + '\0',
                          PayloadOf({"force-reconfigure-the-object", "-u", UUID, "-f", path})));
    EXPECT_TRUE(SameBytes(path + '\0', PayloadOf({"update-treldb", "-f", path})));
  }
}

TEST(ManualMove, IsAlwaysSentWhole) {
  const std::string word = "component-manual-move";
  EXPECT_TRUE(SameBytes(
      UUID_BYTES + FromHex("ff090000 00000000") + UuidList(2559) + Zeros(38) + Zeros(94720),
      PayloadOf({word, "-u", UUID, "-n", UuidList(2559)})));
  EXPECT_TRUE(SameBytes(
      UUID_BYTES + FromHex("00000000 02000000") + Zeros(94720) + UuidList(2) + Zeros(94720 - 73),
      PayloadOf({word, "-u", UUID, "-x", UuidList(2)})));
  // Of a longer list before it nothing is left.
  EXPECT_TRUE(SameBytes(
      UUID_BYTES + FromHex("01000000 00000000") + UuidList(1) + Zeros(94720 - 36) + Zeros(94720),
      PayloadOf({word, "-u", UUID, "-n", UuidList(3), "-n", UuidList(1)})));
}

TEST(GlobalExclusion, IsAlwaysSentWhole) {
  const std::string word = "set-global-exclusion-list";
  EXPECT_TRUE(SameBytes(FromHex("03000000 00000000") + Zeros(94720),
                        PayloadOf({word, "-X", "3", "-x", ""})));
  EXPECT_TRUE(SameBytes(FromHex("03000000 ff090000") + UuidList(2559) + Zeros(38),
                        PayloadOf({word, "-X", "3", "-x", UuidList(2559)})));
}

// --- callback words --------------------------------------------------------------

TEST(CallbackBlock, CountsTheLastWordOfEachGroup) {
  const std::vector<std::pair<Words, std::string>> cases = {
      {{"update"}, "1:0:"},
      {{"add"}, "2:0:"},
      {{"delete"}, "3:0:"},
      {{"object"}, "0:2:"},
      {{"disk"}, "0:3:"},
      {{"node"}, "0:4:"},
      {{"disk", "update"}, "1:3:"},
      {{"add", "node", "delete"}, "3:4:"},
      {{"disk", "delete", "object", "update"}, "1:2:"},
      {{"UPDATE", "nodes", "", "upd", " add", "1", "%n"}, "0:0:"},
  };
  for (const auto& [words, numbers] : cases) {
    Words line = {"-u", UUID, "block-cdb-cb"};
    line.insert(line.end(), words.begin(), words.end());
    EXPECT_TRUE(SameBytes(numbers + UUID + Zeros(1024 - 40), PayloadOf(line)));
  }
  EXPECT_TRUE(SameBytes("2:4:" + UUID + Zeros(1024 - 40),
                        PayloadOf({"-u", UUID, "-o", "add", "-s", "node", "block-cdb-cb"})));
}

TEST(CallbackBlock, ReadsNothingFromTheEndOn) {
  CommandLine line({"block-cdb-cb", "update"});
  const PacketPair pair;
  EXPECT_EQ(SendCallbackBlockRequest(line.Count(), line.Vector(), 3, pair.Client(), Uuid{}),
            STATUS_OK);
  EXPECT_TRUE(SameBytes("0:0:", pair.Received().at(1).substr(0, 4)));
}

}  // namespace
}  // namespace trel
