// Requests whose bytes a well-meaning change would alter and that are no example of the
// contract: too long for it, given twice, contradictory, or odd.

#include <gtest/gtest.h>

#include <ostream>

#include "cli/replies.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string UUID_BYTES = FromHex("01234567 89abcdef fedcba98 76543210");
const std::string NO_UUID = "00000000-0000-0000-0000-000000000000";
const std::string OTHER = "ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb";
const std::string NUL(1, '\0');
constexpr std::size_t LIST_SIZE = 94720;
/// The most characters that one argument of a program can have.
constexpr std::size_t LONGEST_ARGUMENT = 131071;

struct Row {
  std::string name;  ///< of the test
  Words words;
  unsigned code;
  std::string payload;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

std::string Filled(const std::string& text, std::size_t size) {
  return text + Zeros(size - text.size());
}

std::string Numbers(std::initializer_list<std::uint32_t> numbers) {
  std::string bytes;
  for (const std::uint32_t number : numbers) {
    bytes += InMemory(number);
  }
  return bytes;
}

std::string Callback(const std::string& types, const std::string& uuid = NO_UUID) {
  return Filled(types + uuid, 1024);
}

std::string Upgrade(std::uint32_t decomMode, std::uint32_t reason, std::uint32_t entries,
                    const std::string& list) {
  return Zeros(16) + Numbers({decomMode, reason}) + Zeros(4) + Numbers({entries}) + list + NUL;
}

std::string Exclusion(std::uint32_t mode, std::uint32_t entries, const std::string& list) {
  return Numbers({mode, entries}) + Filled(list, LIST_SIZE);
}

std::string Move(std::uint32_t destinations, std::uint32_t exclusions,
                 const std::string& destinationList, const std::string& exclusionList) {
  return UUID_BYTES + Numbers({destinations, exclusions}) + Filled(destinationList, LIST_SIZE) +
         Filled(exclusionList, LIST_SIZE);
}

/// `count` words that mean nothing around the one at `place`, counted from 1.
Words FarAlong(const std::string& word, std::size_t place, std::size_t count) {
  Words words(count, "x");
  words.at(place - 1) = word;
  words.emplace(words.begin(), "block-cdb-cb");
  return words;
}

std::vector<Row> RowsOfUuids() {
  return {
      {"AllDoesNotClearTheUuidOfInfoRebalance", {"info-rebalance", "-u", UUID, "-a"}, 14, UUID},
      {"AllDoesNotClearTheUuidOfADecomState", {"get-obj-decom-state", "-a", "-u", UUID}, 23, UUID},
      {"AllDoesNotClearTheUuidOfACrawlerState",
       {"get-obj-crawler-state", "-u", UUID, "-a"},
       26,
       UUID + "1" + Zeros(4)},
  };
}

std::vector<Row> RowsOfTexts() {
  const std::string json = Text(100 * 1024);
  return {
      {"ALongJsonTextIsSentWhole", {"fitness-config-set", "-j", json}, 4, json + NUL},
      {"TheLongestJsonTextIsSentWhole",
       {"fitness-config-set", "-j", Text(LONGEST_ARGUMENT)},
       4,
       Text(LONGEST_ARGUMENT) + NUL},
      {"AJsonTextIsNoJsonToTheClient",
       {"fitness-config-set", "-j", " {\n\xff%s}\t "},
       4,
       " {\n\xff%s}\t " + NUL},
      {"BlanksAroundALogLevelAreSent", {"log-level", " \t2\n "}, 7, " \t2\n "},
  };
}

std::vector<Row> RowsOfLists() {
  const std::string upper = "ABCDEF01-ABCD-ABCD-ABCD-ABCDEF012345";
  const std::string odd(36, '\xe9');
  return {
      {"AListForAnUpgradeIsSentAsTyped",
       {"what-if-upgrade", "-l", upper + "," + odd},
       17,
       Upgrade(0, 0, 2, upper + "," + odd)},
      {"AnExclusionListIsSentAsTyped",
       {"set-global-exclusion-list", "-x", upper + "," + odd},
       34,
       Exclusion(0, 2, upper + "," + odd)},
      {"ADestinationListIsSentAsTyped",
       {"component-manual-move", "-u", UUID, "-n", upper},
       33,
       Move(1, 0, upper, "")},
      {"OfTwoExclusionListsTheLastCounts",
       {"set-global-exclusion-list", "-x", UUID + "," + OTHER, "-x", OTHER},
       34,
       // Kept on purpose: what was longer in the first list is no part of the second.
       Exclusion(0, 1, OTHER)},
      {"OfTwoDestinationListsTheLastCounts",
       {"component-manual-move", "-u", UUID, "-n", UUID + "," + OTHER, "-n", OTHER},
       33,
       Move(1, 0, OTHER, "")},
  };
}

std::vector<Row> RowsOfNumbersAndNames() {
  return {
      {"OfTwoDecomModesTheLastCounts",
       {"what-if-entity-decom", "-a", "-d", "7", "-d", "2"},
       16,
       Zeros(16) + Numbers({2}) + Zeros(4)},
      {"OfTwoReasonsTheLastCounts",
       {"what-if-upgrade", "-l", UUID, "-r", "1", "-r", "3"},
       17,
       Upgrade(0, 3, 1, UUID)},
      {"OfTwoRecoveryModesTheLastCounts",
       {"enable-trel-recovery-mode", "-m", "7", "-m", "3"},
       22,
       NO_UUID + "3" + Zeros(4)},
      {"OfTwoExclusionModesTheLastCounts",
       {"set-global-exclusion-list", "-x", UUID, "-X", "3", "-X", "1"},
       34,
       Exclusion(1, 1, UUID)},
      {"OfTwoWorkItemsTheLastCounts",
       {"enable-workitem", "-i", "CONCAT_IN_MIDDLE", "-i", "MOVE"},
       24,
       "7" + Zeros(3)},
      {"FlagsMayBeRepeated",
       {"what-if-entity-decom", "-a", "-a", "-e", "-e", "-w", "-w"},
       16,
       Zeros(20) + FromHex("01") + Zeros(3)},
  };
}

std::vector<Row> RowsOfCallbacks() {
  return {
      {"AWordFarAlongCounts", FarAlong("node", 5000, 6000), 31, Callback("0:4:")},
      {"TheVeryLastWordCounts", FarAlong("delete", 6000, 6000), 31, Callback("3:0:")},
  };
}

class Request : public testing::TestWithParam<Row> {};

constexpr auto NAME_OF_ROW = [](const auto& test) { return test.param.name; };
INSTANTIATE_TEST_SUITE_P(Uuid, Request, testing::ValuesIn(RowsOfUuids()), NAME_OF_ROW);
INSTANTIATE_TEST_SUITE_P(Text, Request, testing::ValuesIn(RowsOfTexts()), NAME_OF_ROW);
INSTANTIATE_TEST_SUITE_P(List, Request, testing::ValuesIn(RowsOfLists()), NAME_OF_ROW);
INSTANTIATE_TEST_SUITE_P(Option, Request, testing::ValuesIn(RowsOfNumbersAndNames()), NAME_OF_ROW);
INSTANTIATE_TEST_SUITE_P(Callback, Request, testing::ValuesIn(RowsOfCallbacks()), NAME_OF_ROW);

TEST_P(Request, HasTheseBytes) {
  const Row& row = GetParam();
  const ClientResult run =
      RunClientAgainst({.words = row.words, .steps = {ReadRequest{}, SendBytes{Zeros(8)}}});
  EXPECT_TRUE(SameBytes(standin::EncodeFrame(row.code, row.payload), run.request));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

}  // namespace
}  // namespace tests
