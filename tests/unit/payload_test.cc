// The payload builders: every byte and every LENGTH, at the limits of each record.

#include "client/payload.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "support/bytes.h"
#include "unit/command_line.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::FromHex;
using tests::Options;
using tests::SameBytes;
using tests::UuidList;
using tests::Zeros;

const Uuid SAMPLE = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                     0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};
const std::string SAMPLE_BYTES = FromHex("0123456789abcdef fedcba9876543210");
const std::string SAMPLE_TEXT = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string ZERO_TEXT = "00000000-0000-0000-0000-000000000000";

/// The first `length` bytes of a record; the record starts out full of a mark, so
/// that a byte that is never written shows.
template <typename Record, typename Build>
std::string Built(Build build) {
  auto record = std::make_unique<Record>();
  std::memset(record.get(), 0xa5, sizeof *record);
  const std::size_t length = build(record.get());
  return {reinterpret_cast<const char*>(record.get()), length};
}

std::string Rebalance(std::vector<std::string> words) {
  words.insert(words.begin(), "start-proactive-rebalance");
  CommandLine line(words);
  const Options options;
  options->commandArgIndex = words.size() > 1 ? 2 : 0;
  return Built<RebalanceParams>([&](RebalanceParams* record) {
    return BuildRebalanceParams(*options, line.Count(), line.Vector(), record);
  });
}

std::string Callback(std::vector<std::string> words, int startIndex = 2) {
  words.insert(words.begin(), "block-cdb-cb");
  CommandLine line(words);
  return Built<CallbackBlockSpec>([&](CallbackBlockSpec* record) {
    return BuildCallbackBlock(line.Count(), line.Vector(), startIndex, SAMPLE, record);
  });
}

// --- texts -----------------------------------------------------------------------

TEST(FormatUuidText, WritesLowerCaseDigitsInStorageOrder) {
  UuidTextBuffer text;
  text.fill('#');
  FormatUuidText(SAMPLE, text);
  EXPECT_TRUE(SameBytes(SAMPLE_TEXT + '\0', std::string_view(text.data(), text.size())));
  FormatUuidText({}, text);
  EXPECT_STREQ(text.data(), ZERO_TEXT.c_str());
}

TEST(CountUuidListEntries, GoesByTheLengthAlone) {
  EXPECT_EQ(CountUuidListEntries(""), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(35, ',').c_str()), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(36, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(72, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(73, 'x').c_str()), 2U);
  EXPECT_EQ(CountUuidListEntries(UuidList(2560).c_str()), 2560U);
}

TEST(BuildUuidText, Is36CharactersWithoutTerminator) {
  Options options;
  const auto build = [&](UuidTextBuffer* record) { return BuildUuidText(*options, record); };
  EXPECT_TRUE(SameBytes(ZERO_TEXT, Built<UuidTextBuffer>(build)));
  options->uuid = SAMPLE;
  EXPECT_TRUE(SameBytes(SAMPLE_TEXT, Built<UuidTextBuffer>(build)));
}

TEST(BuildUuidNumber, CountsThreeZeroBytesPastTheTerminator) {
  Options options;
  options->uuid = SAMPLE;
  for (std::uint32_t mode = 0; mode <= 7; ++mode) {
    options->recoveryMode = mode;
    EXPECT_TRUE(SameBytes(SAMPLE_TEXT + std::to_string(mode) + Zeros(4),
                          Built<UuidNumberText>([&](UuidNumberText* record) {
                            return BuildUuidAndRecoveryMode(*options, record);
                          })));
  }
  for (int all = 0; all <= 1; ++all) {
    options->all = all;
    EXPECT_TRUE(SameBytes(SAMPLE_TEXT + std::to_string(all) + Zeros(4),
                          Built<UuidNumberText>([&](UuidNumberText* record) {
                            return BuildUuidAndAllFlag(*options, record);
                          })));
  }
}

TEST(BuildWorkItemText, IsFourBytesForOneAndTwoDigits) {
  Options options;
  const auto build = [&](WorkItemText* record) { return BuildWorkItemText(*options, record); };
  options->workItem = WorkItemType::MOVE;
  EXPECT_TRUE(SameBytes("7" + Zeros(3), Built<WorkItemText>(build)));
  options->workItem = WorkItemType::CONCAT_IN_MIDDLE;
  EXPECT_TRUE(SameBytes("23" + Zeros(2), Built<WorkItemText>(build)));
}

// --- rebalance -------------------------------------------------------------------

constexpr char DEFAULT_SPAN[] = "8051010000000000";
constexpr char DEFAULT_VARIANCE[] = "333333333333d33f";
constexpr char DEFAULT_TIME[] = "0807000000000000";
constexpr char DEFAULT_RATE[] = "398ee30000000000";

TEST(BuildRebalanceParams, WithoutWordsSendsTheDefaults) {
  EXPECT_TRUE(
      SameBytes(FromHex(std::string(DEFAULT_SPAN) + DEFAULT_VARIANCE + DEFAULT_TIME + DEFAULT_RATE),
                Rebalance({})));
}

TEST(BuildRebalanceParams, WithoutWordsTakesNoNumberFromTheProgramsName) {
  std::string name = "7";
  char* words[] = {name.data(), nullptr};
  Options options;
  EXPECT_TRUE(
      SameBytes(FromHex(std::string(DEFAULT_SPAN) + DEFAULT_VARIANCE + DEFAULT_TIME + DEFAULT_RATE),
                Built<RebalanceParams>([&](RebalanceParams* record) {
                  return BuildRebalanceParams(*options, 1, words, record);
                })));
}

TEST(BuildRebalanceParams, TakesUpToFourWordsInOrder) {
  EXPECT_TRUE(SameBytes(FromHex("100e000000000000 333333333333d33f 0807000000000000"
                                "0004000000000000"),
                        Rebalance({"3600", "0.3", "default", "1024"})));
  EXPECT_TRUE(SameBytes(FromHex("0100000000000000 000000000000e03f 0200000000000000"
                                "0300000000000000"),
                        Rebalance({"1", "0.5", "2", "3", "4", "5"})));
}

TEST(BuildRebalanceParams, StopsAtTheFirstMissingWord) {
  const std::string one = "0100000000000000";
  const std::string half = "000000000000e03f";
  EXPECT_TRUE(
      SameBytes(FromHex(one + DEFAULT_VARIANCE + DEFAULT_TIME + DEFAULT_RATE), Rebalance({"1"})));
  EXPECT_TRUE(
      SameBytes(FromHex(one + half + DEFAULT_TIME + DEFAULT_RATE), Rebalance({"1", "0.5"})));
  EXPECT_TRUE(SameBytes(FromHex(one + half + one + DEFAULT_RATE), Rebalance({"1", "0.5", "1"})));
}

TEST(BuildRebalanceParams, AWordThatIsNoNumberLeavesItsFieldAlone) {
  for (const char* word : {"default", "", "x1", "-", "%n"}) {
    EXPECT_TRUE(SameBytes(
        FromHex(std::string(DEFAULT_SPAN) + DEFAULT_VARIANCE + DEFAULT_TIME + DEFAULT_RATE),
        Rebalance({word, word, word, word})))
        << word;
  }
}

TEST(BuildRebalanceParams, TakesAPrefixSignsAndBlanks) {
  EXPECT_TRUE(SameBytes(FromHex("100e000000000000 000000000000d03f ffffffffffffffff"
                                "0500000000000000"),
                        Rebalance({"3600s", " 0.25abc", "-1", " +5"})));
}

TEST(BuildRebalanceParams, TakesAllThatIsADouble) {
  struct Case {
    const char* word;
    const char* bits;
  };
  for (const Case& variance : std::initializer_list<Case>{{"1e3", "0000000000408f40"},
                                                          {"-2.5", "00000000000004c0"},
                                                          {"0x1p-1", "000000000000e03f"},
                                                          {"inf", "000000000000f07f"},
                                                          {"-infinity", "000000000000f0ff"},
                                                          {"1e999", "000000000000f07f"},
                                                          {".5", "000000000000e03f"}}) {
    EXPECT_TRUE(
        SameBytes(FromHex(std::string(DEFAULT_SPAN) + variance.bits + DEFAULT_TIME + DEFAULT_RATE),
                  Rebalance({"default", variance.word})))
        << variance.word;
  }
  // A NaN is one, whatever its sign and payload.
  const std::string nan = Rebalance({"default", "nan"}).substr(8, 8);
  EXPECT_EQ(nan[7] & 0x7f, 0x7f);
  EXPECT_EQ(nan[6] & 0xf8, 0xf8);
}

TEST(BuildRebalanceParams, OverwritesTheRecordOfTheOptions) {
  CommandLine line({"start-proactive-rebalance", "7"});
  const Options options;
  options->commandArgIndex = 2;
  RebalanceParams record;
  EXPECT_EQ(BuildRebalanceParams(*options, line.Count(), line.Vector(), &record), 32U);
  EXPECT_EQ(options->rebalanceParams.timeSpan, 7U);
}

// --- what if, reconfigure --------------------------------------------------------

TEST(BuildDecomWhatIf, Is24BytesWithZeroPadding) {
  Options options;
  const auto build = [&](DecomWhatIfRequest* record) { return BuildDecomWhatIf(*options, record); };
  EXPECT_TRUE(SameBytes(Zeros(24), Built<DecomWhatIfRequest>(build)));
  options->uuid = SAMPLE;
  options->decomMode = 0x01020304;
  options->ensureDurability = true;
  EXPECT_TRUE(
      SameBytes(SAMPLE_BYTES + FromHex("04030201 01 000000"), Built<DecomWhatIfRequest>(build)));
}

/// The what-if-upgrade request is built in the options themselves, where a run
/// leaves it unset but for an empty list: here a mark shows what is never written.
std::string Upgrade(const std::vector<std::string>& words) {
  CommandLine line(words);
  const Options options;
  std::memset(static_cast<void*>(&options->upgradeWhatIf), 0xa5, sizeof options->upgradeWhatIf);
  options->upgradeWhatIf.uuidList[0] = '\0';
  EXPECT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
  const std::size_t length = BuildUpgradeWhatIf(*options);
  return {reinterpret_cast<const char*>(&options->upgradeWhatIf), length};
}

TEST(BuildUpgradeWhatIf, CountsTheListAndItsTerminator) {
  for (const std::size_t entries : {1U, 2U, 2560U}) {
    std::string count;
    for (const unsigned shift : {0U, 8U, 16U, 24U}) {
      count.push_back(static_cast<char>(entries >> shift & 0xffU));
    }
    const std::string request = Upgrade({"-l", UuidList(entries)});
    EXPECT_EQ(request.size(), 32 + 37 * entries);
    EXPECT_TRUE(SameBytes(Zeros(28) + count + UuidList(entries) + '\0', request));
  }
}

TEST(BuildUpgradeWhatIf, FillsInEveryFieldOfTheHead) {
  EXPECT_TRUE(SameBytes(
      SAMPLE_BYTES + FromHex("04030201 08070605 01 000000 01000000") + std::string(36, 'x') + '\0',
      Upgrade({"-u", SAMPLE_TEXT, "-d", "16909060", "-r", "84281096", "-w", "-l",
               std::string(36, 'x')})));
}

TEST(BuildUpgradeWhatIf, SendsNothingOfALongerEarlierList) {
  EXPECT_TRUE(SameBytes(Zeros(28) + FromHex("01000000") + std::string(36, 'x') + '\0',
                        Upgrade({"-l", UuidList(5), "-l", std::string(36, 'x')})));
}

TEST(BuildReconfigure, CountsThePathAndItsTerminator) {
  Options options;
  options->uuid = SAMPLE;
  const auto build = [&](ReconfigureRequest* record) { return BuildReconfigure(*options, record); };
  EXPECT_TRUE(SameBytes(SAMPLE_BYTES + '\0', Built<ReconfigureRequest>(build)));
  std::strcpy(options->filePath.data(), "/tmp/x");
  EXPECT_TRUE(SameBytes(SAMPLE_BYTES + "/tmp/x" + '\0', Built<ReconfigureRequest>(build)));
  std::memset(options->filePath.data(), 'p', 4096);
  EXPECT_TRUE(
      SameBytes(SAMPLE_BYTES + std::string(4096, 'p') + '\0', Built<ReconfigureRequest>(build)));
}

// --- fixed sizes -----------------------------------------------------------------

TEST(BuildManualMove, IsAlwaysSentWhole) {
  Options options;
  options->uuid = SAMPLE;
  const auto build = [&](ManualMoveRequest* record) { return BuildManualMove(*options, record); };
  EXPECT_TRUE(SameBytes(SAMPLE_BYTES + Zeros(189464 - 16), Built<ManualMoveRequest>(build)));

  std::strcpy(options->destinationList, UuidList(1).c_str());
  EXPECT_TRUE(SameBytes(
      SAMPLE_BYTES + FromHex("01000000 00000000") + UuidList(1) + Zeros(94720 - 36) + Zeros(94720),
      Built<ManualMoveRequest>(build)));

  std::strcpy(options->destinationList, UuidList(2559).c_str());
  EXPECT_TRUE(SameBytes(
      SAMPLE_BYTES + FromHex("ff090000 00000000") + UuidList(2559) + Zeros(38) + Zeros(94720),
      Built<ManualMoveRequest>(build)));

  options->destinationList[0] = '\0';
  std::strcpy(options->exclusionList, UuidList(2).c_str());
  EXPECT_TRUE(SameBytes(
      SAMPLE_BYTES + FromHex("00000000 02000000") + Zeros(94720) + UuidList(2) + Zeros(94720 - 73),
      Built<ManualMoveRequest>(build)));
}

TEST(BuildManualMove, SendsNothingBehindAShorterLaterList) {
  CommandLine line({"-n", UuidList(3), "-n", std::string(36, 'x')});
  const Options options;
  ASSERT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
  EXPECT_TRUE(SameBytes(Zeros(16) + FromHex("01000000 00000000") + std::string(36, 'x') +
                            Zeros(94720 - 36) + Zeros(94720),
                        Built<ManualMoveRequest>([&](ManualMoveRequest* record) {
                          return BuildManualMove(*options, record);
                        })));
}

/// The global exclusion record comes zero-filled from its allocator.
std::string GlobalExclusion(const Options& options) {
  auto record = std::make_unique<GlobalExclusionRequest>();
  std::memset(record.get(), 0, sizeof *record);
  const std::size_t length = BuildGlobalExclusion(*options, record.get());
  return {reinterpret_cast<const char*>(record.get()), length};
}

TEST(BuildGlobalExclusion, IsAlwaysSentWhole) {
  Options options;
  EXPECT_TRUE(SameBytes(Zeros(94728), GlobalExclusion(options)));
  options->exclusionMode = 3;
  std::strcpy(options->exclusionList, UuidList(2).c_str());
  EXPECT_TRUE(SameBytes(FromHex("03000000 02000000") + UuidList(2) + Zeros(94720 - 73),
                        GlobalExclusion(options)));
  std::strcpy(options->exclusionList, UuidList(2559).c_str());
  EXPECT_TRUE(SameBytes(FromHex("03000000 ff090000") + UuidList(2559) + Zeros(38),
                        GlobalExclusion(options)));
}

std::string CallbackBytes(const std::string& numbers) {
  const std::string text = numbers + SAMPLE_TEXT;
  return text + Zeros(1024 - text.size());
}

TEST(BuildCallbackBlock, KnowsSixWords) {
  EXPECT_TRUE(SameBytes(CallbackBytes("1:0:"), Callback({"update"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("2:0:"), Callback({"add"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("3:0:"), Callback({"delete"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("0:2:"), Callback({"object"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("0:3:"), Callback({"disk"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("0:4:"), Callback({"node"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("1:3:"), Callback({"update", "disk"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("1:3:"), Callback({"disk", "update"})));
}

TEST(BuildCallbackBlock, TheLastWordOfAGroupCounts) {
  EXPECT_TRUE(SameBytes(CallbackBytes("3:4:"), Callback({"add", "node", "delete"})));
  EXPECT_TRUE(SameBytes(CallbackBytes("1:2:"), Callback({"disk", "delete", "object", "update"})));
}

TEST(BuildCallbackBlock, IgnoresEveryOtherWord) {
  EXPECT_TRUE(SameBytes(CallbackBytes("0:0:"),
                        Callback({"UPDATE", "nodes", "", "upd", " add", "1", "%n"})));
}

TEST(BuildCallbackBlock, ReadsTheWholeVectorFromIndexZero) {
  EXPECT_TRUE(SameBytes(CallbackBytes("0:0:"), Callback({}, 0)));
  EXPECT_TRUE(SameBytes(CallbackBytes("2:4:"), Callback({"-o", "add", "-s", "node"}, 0)));
}

TEST(BuildCallbackBlock, ReadsNothingFromTheEndOn) {
  EXPECT_TRUE(SameBytes(CallbackBytes("0:0:"), Callback({"update"}, 3)));
}

}  // namespace
}  // namespace trel
