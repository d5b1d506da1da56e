// Requests whose bytes a well-meaning change would alter and that are no example of the
// contract: too long for it, given twice, contradictory, or odd.

#include <gtest/gtest.h>

#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string UUID_BYTES = FromHex("01234567 89abcdef fedcba98 76543210");
const std::string NO_UUID = "00000000-0000-0000-0000-000000000000";
const std::string OTHER = "ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb";
const std::string NUL(1, '\0');
constexpr std::size_t LIST_SIZE = 94720;

std::string Filled(const std::string& text, std::size_t size) {
  return text + Zeros(size - text.size());
}

std::string Number(std::uint32_t number) { return InMemory(number); }

std::string Callback(const std::string& types, const std::string& uuid = NO_UUID) {
  return Filled(types + uuid, 1024);
}

std::string Decom(const std::string& uuid, std::uint32_t mode, const char* ensureDurability) {
  return uuid + Number(mode) + FromHex(ensureDurability) + Zeros(3);
}

std::string Upgrade(std::uint32_t decomMode, std::uint32_t reason, std::uint32_t entries,
                    const std::string& list) {
  return Zeros(16) + Number(decomMode) + Number(reason) + Zeros(4) + Number(entries) + list + NUL;
}

std::string Exclusion(std::uint32_t mode, std::uint32_t entries, const std::string& list) {
  return Number(mode) + Number(entries) + Filled(list, LIST_SIZE);
}

std::string Move(std::uint32_t destinations, std::uint32_t exclusions,
                 const std::string& destinationList, const std::string& exclusionList) {
  return UUID_BYTES + Number(destinations) + Number(exclusions) +
         Filled(destinationList, LIST_SIZE) + Filled(exclusionList, LIST_SIZE);
}

/// `count` words that mean nothing, the last but `after` being `word`.
Words FarAlong(const std::string& word, std::size_t after, std::size_t count) {
  Words words(count, "x");
  words.at(count - 1 - after) = word;
  words.emplace(words.begin(), "block-cdb-cb");
  return words;
}

struct Row {
  Words words;
  unsigned code;
  std::string payload;
};

void ExpectRequests(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.words).substr(0, 200));
    ExpectRequest(RunInFakeSystem(row.words, Zeros(8)), row.code, row.payload);
  }
}

TEST(CountUuidListEntries, GoesByTheLengthAlone) {
  for (const auto& [length, entries] :
       {std::pair{0U, 0U}, {35U, 0U}, {36U, 1U}, {72U, 1U}, {73U, 2U}}) {
    EXPECT_EQ(trel::CountUuidListEntries(std::string(length, ',').c_str()), entries) << length;
  }
}

TEST(Request, HasAUuidAsFarAsItGoes) {
  ExpectRequests({
      {{"crawler", "-u", "01234567-89AB-cdef-fedc-ba9876543210-and-more"}, 2, UUID},
      {{"what-if-entity-decom", "-u", "11111111-1111-1111-1111-111111111111", "-u",
        "22222222-2222-2222-22"},
       16,
       Decom(FromHex("22222222 22222222 22111111 11111111"), 0, "00")},
      // Kept on purpose: -a does not clear it.
      {{"info-rebalance", "-u", UUID, "-a"}, 14, UUID},
      {{"get-obj-decom-state", "-a", "-u", UUID}, 23, UUID},
      {{"get-obj-crawler-state", "-u", UUID, "-a"}, 26, UUID + "1" + Zeros(4)},
  });
}

TEST(Request, IsTheSameInEachSpelling) {
  for (const Words& words : {Words{"crawler", "-u", UUID},
                             {"-u", UUID, "crawler"},
                             {"crawler", "--uuid=" + UUID},
                             {"crawler", "--uuid", UUID},
                             {"-au", UUID, "crawler"},
                             {"-u", UUID, "--", "crawler", "-z"}}) {
    ExpectRequests({{words, 2, UUID}});
  }
}

TEST(Request, HasATextAsTyped) {
  const std::string text(131071, 'j');  // the most that one argument of a program can have
  const std::string path(4096, 'p');
  ExpectRequests({
      {{"fitness-config-set", "-j", text}, 4, text + NUL},
      {{"fitness-config-set", "-j", " {\n\xff%s%n}\t "}, 4, " {\n\xff%s%n}\t " + NUL},
      {{"fitness-config-set", "-j", ""}, 4, NUL},
      {{"fitness-config-set", "-j", "{}", "-j", "[1]"}, 4, "[1]" + NUL},
      {{"log-level", " \t2\n "}, 7, " \t2\n "},
      {{"log-level", "-d", "3", "2", "-aw"}, 7, "2"},
      // The mode lies after the path in the client's memory.
      {{"update-treldb", "-f", path, "-d", "16843009"}, 20, path + NUL},
      {{"force-reconfigure-the-object", "-u", UUID, "-f", path}, 19, UUID_BYTES + path + NUL},
      {{"update-treldb", "-f", "/tmp/x", "-f", ""}, 20, "/tmp/x" + NUL},
      // Kept on purpose: the tail of a longer path stays.
      {{"update-treldb", "-f", "/tmp/abcdef", "-f", "/x"}, 20, "/xmp/abcdef" + NUL},
      {{"update-treldb", "-f", "/x", "-f", "/tmp/abcdef"}, 20, "/tmp/abcdef" + NUL},
  });
}

TEST(Request, HasAListAsTypedAndNothingOfAnEarlierOne) {
  const std::string odd = "ABCDEF01-ABCD-ABCD-ABCD-ABCDEF012345," + std::string(36, '\xe9');
  const Words move = {"component-manual-move", "-u", UUID};
  const auto moveWith = [&](const Words& more) {
    Words words = move;
    words.insert(words.end(), more.begin(), more.end());
    return words;
  };
  const std::string word = "set-global-exclusion-list";
  ExpectRequests({
      {{"what-if-upgrade", "-l", odd}, 17, Upgrade(0, 0, 2, odd)},
      {{"what-if-upgrade", "-l", UuidList(2560)}, 17, Upgrade(0, 0, 2560, UuidList(2560))},
      {{"what-if-upgrade", "-l", UuidList(5), "-l", OTHER}, 17, Upgrade(0, 0, 1, OTHER)},
      {{word, "-x", odd}, 34, Exclusion(0, 2, odd)},
      {{word, "-x", "", "-X", "3"}, 34, Exclusion(3, 0, "")},
      {{word, "-x", UuidList(2559), "-X", "3"}, 34, Exclusion(3, 2559, UuidList(2559))},
      {{word, "-x", UUID + "," + OTHER, "-x", OTHER}, 34, Exclusion(0, 1, OTHER)},
      {moveWith({"-n", odd}), 33, Move(2, 0, odd, "")},
      {moveWith({"-n", UuidList(2559)}), 33, Move(2559, 0, UuidList(2559), "")},
      {moveWith({"-n", UUID + "," + OTHER, "-n", OTHER}), 33, Move(1, 0, OTHER, "")},
      {moveWith({"-x", UuidList(2)}), 33, Move(0, 2, "", UuidList(2))},
      {moveWith({"-x", UuidList(2559)}), 33, Move(0, 2559, "", UuidList(2559))},
  });
}

TEST(Request, HasTheLastOfTwoNumbersOrNamesAndFlagsOnce) {
  ExpectRequests({
      {{"what-if-entity-decom", "-a", "-d", "7", "--dec", "2"}, 16, Decom(Zeros(16), 2, "00")},
      {{"what-if-entity-decom", "-aewe", "-a", "-w"}, 16, Decom(Zeros(16), 0, "01")},
      {{"what-if-entity-decom", "-a", "--decom-mode="}, 16, Decom(Zeros(16), 0, "00")},
      {{"what-if-upgrade", "-l", UUID, "-r", "1", "-r", "3"}, 17, Upgrade(0, 3, 1, UUID)},
      {{"what-if-upgrade", "-u", UUID, "-d", "16909060", "-r", "84281096", "-w", "-l", OTHER},
       17,
       UUID_BYTES + Number(0x01020304) + Number(0x05060708) + FromHex("01 000000") + Number(1) +
           OTHER + NUL},
      {{"set-global-exclusion-list", "-x", UUID, "-X", "3", "-X", "1"}, 34, Exclusion(1, 1, UUID)},
      {{"enable-workitem", "-i", "CONCAT_IN_MIDDLE", "-i", "MOVE"}, 24, "7" + Zeros(3)},
      {{"enable-trel-recovery-mode", "-m", "7", "-m", "3"}, 22, NO_UUID + "3" + Zeros(4)},
      {{"enable-trel-recovery-mode", "-u", UUID}, 22, UUID + "0" + Zeros(4)},
  });
}

TEST(Request, OfACallbackHasTheLastWordOfEachGroup) {
  std::vector<Row> rows;
  for (const auto& [words, numbers] :
       std::vector<std::pair<Words, std::string>>{{{"update"}, "1:0:"},
                                                  {{"add"}, "2:0:"},
                                                  {{"delete"}, "3:0:"},
                                                  {{"object"}, "0:2:"},
                                                  {{"disk"}, "0:3:"},
                                                  {{"node"}, "0:4:"},
                                                  {{"disk", "update"}, "1:3:"},
                                                  {{"disk", "delete", "object", "update"}, "1:2:"},
                                                  {{"UPDATE", "", "upd", " add", "%n"}, "0:0:"}}) {
    rows.push_back({{"-u", UUID, "block-cdb-cb"}, 31, Callback(numbers, UUID)});
    rows.back().words.insert(rows.back().words.end(), words.begin(), words.end());
  }
  ExpectRequests(rows);
  ExpectRequests({
      {{"-o", "add", "block-cdb-cb"}, 31, Callback("2:0:")},
      {FarAlong("node", 1000, 6000), 31, Callback("0:4:")},
      {FarAlong("delete", 0, 6000), 31, Callback("3:0:")},
  });
}

/// Kept on purpose: without a word after the command it is what a level is taken from, and where
/// the search for the words of a callback begins.
TEST(Request, MayBeOfTheProgramsName) {
  const auto runAs = [](const char* name, const char* command) {
    return RunInFakeSystem({command}, Zeros(8), {}, {name});
  };
  ExpectRequest(runAs("a tool", "log-level"), 7, "a tool");
  ExpectRequest(runAs("update", "block-cdb-cb"), 31, Callback("1:0:"));
  // The check looks at the word after it, and the numbers of a rebalance begin there.
  ExpectRequest(runAs("-1", "log-level"), 7, "-1");
  ExpectRequest(runAs("7", "start-proactive-rebalance"), 10,
                InMemory(std::uint64_t{86400}) + InMemory(0.3) + InMemory(std::uint64_t{1800}) +
                    InMemory(std::uint64_t{14913081}));
}

}  // namespace
}  // namespace tests
