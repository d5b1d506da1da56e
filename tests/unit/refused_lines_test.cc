// Command lines that are refused: what is reported, and that nothing but the help follows.

#include <gtest/gtest.h>

#include "tests/unit/fake_run.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string NO_UUID = "UUID must be provided (specify with --uuid)\n";
const std::string NO_UUID_LIST =
    "UUID's must be provided, separated by comma (specify with --uuid-list)\n";
const std::string NO_JSON = "Fitness config must be provided (specify with --json <json object>)\n";
const std::string NO_TARGET =
    "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) must be "
    "provided\n";
const std::string NO_WORK_ITEM = "work-item type must be provided (specify with -i/--work-item)\n";
const std::string NOT_ONE_LIST =
    "Either destination list(specify with -n/--destination-list) or exclusion list (specify with "
    "-x/--exclusion-list) should be provided \n";
const std::string EMPTY_LIST = "Empty destination or exclusion list not allowed.";
const std::string NO_EXCLUSION_LIST =
    "Exclusion list must be provided (specify with -x/--exclusion-list)";

struct Row {
  Words words;
  std::string message;
};

void ExpectRefused(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.words));
    ExpectRefusal(RunInFakeSystem(row.words, ""), row.message);
  }
}

TEST(RefusedLine, NamesTheUuidWithTheFieldsThatItHas) {
  std::vector<Row> rows;
  for (const auto& [text, fields] : {std::pair{"0123456", 4},
                                     {"", -1},
                                     {"   ", -1},
                                     {"zz", 0},
                                     {"-", 0},
                                     {"0", 1},
                                     {"01234567", 4},
                                     {"0123456789abcdef", 4},
                                     {"01234567-89ab", 6},
                                     {"01234567-89ab-cd", 7},
                                     {"01234567-89ab-cdxx", 7},
                                     {"%n%s", 0}}) {
    rows.push_back({{"crawler", "-u", text},
                    std::string("Failed to parse UUID: ") + text +
                        ", length=" + std::to_string(fields) + "\n"});
  }
  ExpectRefused(rows);
}

TEST(RefusedLine, NamesAListOfPartialEntriesWhateverItsOption) {
  std::vector<Row> rows = {{{"-l", ""}, "Invalid UUID: \n"}};
  for (const char* option : {"-l", "-n", "-x"}) {
    for (const std::size_t length : {1U, 35U, 37U, 38U, 72U, 74U, 94718U, 94720U}) {
      const std::string text(length, 'u');
      rows.push_back({{option, text}, "Invalid UUID: " + text + "\n"});
    }
  }
  ExpectRefused(rows);
}

TEST(RefusedLine, SaysWhichTextIsTooLong) {
  ExpectRefused({{{"-f", std::string(4097, 'p')}, "File path is longer than the max path length"},
                 {{"-n", UuidList(2560)}, "Destination list is longer than max limit\n"},
                 {{"-n", UuidList(3000)}, "Destination list is longer than max limit\n"},
                 {{"-x", UuidList(2560)}, "Exclusion list is longer than max limit\n"},
                 {{"-x", UuidList(2561)}, "Exclusion list is longer than max limit\n"}});
}

TEST(RefusedLine, NamesAnUnknownWorkItem) {
  std::vector<Row> rows;
  for (const std::string name : {"move", "MOV", "MOVES", "", "4", "NONE", " MOVE", "%n%s"}) {
    rows.push_back(
        {{"enable-workitem", "-i", name}, "Invalid work-item type name: " + name + "\n"});
  }
  ExpectRefused(rows);
}

TEST(RefusedLine, MayBeTheLibrarysToReport) {
  ExpectRefused({
      {{"-z"}, "trel-tool: invalid option -- 'z'\n"},
      {{"stats", "-u"}, "trel-tool: option requires an argument -- 'u'\n"},
      {{"--uuid"}, "trel-tool: option '--uuid' requires an argument\n"},
      {{"--nosuch", "stats"}, "trel-tool: unrecognized option '--nosuch'\n"},
      {{"--all=1"}, "trel-tool: option '--all' doesn't allow an argument\n"},
      {{"--exclusion=1"},
       "trel-tool: option '--exclusion=1' is ambiguous; possibilities: '--exclusion-list' "
       "'--exclusion-mode'\n"},
  });
}

TEST(RefusedLine, ReportsTheFirstThingThatIsWrong) {
  ExpectRefused({
      {{"-X", "4", "-i", "move", "-h"}, "Invalid exclusion mode: 4\n"},
      // What parsing finds comes before anything about the command word.
      {{"nosuch", "-X", "4"}, "Invalid exclusion mode: 4\n"},
      {{"crawler", "-i", "move"}, "Invalid work-item type name: move\n"},
  });
}

TEST(RefusedLine, HasNoCommandOrAnUnknownOne) {
  std::vector<Row> rows = {{{}, "Command string missing\n"},
                           {{"-a"}, "Command string missing\n"},
                           {{"-a", "--"}, "Command string missing\n"},
                           {{"--", "-h"}, "Unrecognized command: -h\n"},
                           {{"-wad3", "--", "-X", "9"}, "Unrecognized command: -X\n"},
                           {{"statz", "stats"}, "Unrecognized command: statz\n"}};
  for (const std::string word : {"Stats", "STATS", "stat", "statss", "", " stats", "stats ",
                                 "set-nonpreferred-fd", "set-NonPreferred-fd", "%n%s"}) {
    rows.push_back({{word}, "Unrecognized command: " + word + "\n"});
  }
  ExpectRefused(rows);
}

TEST(RefusedLine, LacksWhatItsCommandNeeds) {
  ExpectRefused({
      {{"crawler", "word"}, NO_UUID},
      {{"crawler", "-l", UuidList(1), "-m", "1"}, NO_UUID},
      {{"info-rebalance", UUID}, NO_UUID},
      {{"what-if-upgrade", "-u", UUID, "-a", "-n", UuidList(1)}, NO_UUID_LIST},
      {{"fitness-config-set", "{}"}, NO_JSON},
      {{"enable-trel-recovery-mode", "-a"}, NO_TARGET},
      {{"enable-workitem", "MOVE"}, NO_WORK_ITEM},
      {{"set-global-exclusion-list", "-n", UuidList(1)}, NO_EXCLUSION_LIST},
  });
}

TEST(RefusedLine, OfAMoveHasNoUuidThenNotOneListThenNothingInIt) {
  const std::string word = "component-manual-move";
  ExpectRefused({
      {{word, "-a", "-n", UuidList(1)}, NO_UUID},
      {{word, "-n", "", "-x", ""}, NO_UUID},
      {{word, "-n", UuidList(1), "-x", UuidList(1)}, NO_UUID},
      {{word, "-u", UUID}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", UuidList(1), "-x", UuidList(1)}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", "", "-x", ""}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", ""}, EMPTY_LIST},
      {{word, "-u", UUID, "-x", ""}, EMPTY_LIST},
      {{word, "-u", UUID, "-n", UuidList(1), "-n", ""}, EMPTY_LIST},
  });
}

// --- the word at the index of the last long option ---------------------------------

/// log-level and block-cdb-cb share the check and differ in the message.
struct IndexCheck {
  const char* command;
  const char* message;
};
const IndexCheck INDEX_CHECKS[] = {
    {"log-level", "Log level must be specified. E.g.: trel-tool log-level 2\n"},
    {"block-cdb-cb", "Callback entry and event type must be provided.\n"}};

/// What the check says of the whole command line `trel-tool <words>`.
std::string CheckIndex(Words words) {
  const FakeRun run = RunInFakeSystem(std::move(words), "", {}, {"trel-tool"});
  EXPECT_EQ(run.sent.empty(), !run.err.empty());
  return run.err;
}

TEST(CheckOfTheLongOptionIndex, TestsTheWordAtThatIndexOfTheReorderedWords) {
  for (const IndexCheck& check : INDEX_CHECKS) {
    // Argument 2 is the socket path: only the largest number fails.
    for (const auto& [path, passes] : {std::pair{"2147483647", true},
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
                                       {"x", true}}) {
      const std::string message = passes ? "" : check.message;
      EXPECT_EQ(CheckIndex({"--socket-path", path, check.command, "3"}), message) << path;
      EXPECT_EQ(CheckIndex({check.command, "3", "--socket-path", path}), message) << path;
    }
    // Without a long option the index is 1.
    EXPECT_EQ(CheckIndex({"-o", "-1", check.command}), "");
    // That of --output-path too.
    EXPECT_EQ(CheckIndex({"--output-path", "-1", check.command}), "");
  }
}

TEST(CheckOfTheLongOptionIndex, IsThePositionOfTheLastLongOptionInTheTable) {
  for (const IndexCheck& check : INDEX_CHECKS) {
    for (const auto& [option, index] : {std::pair{"--timeout=1", 3U},
                                        {"--uuid=01234567-89ab-cdef", 4U},
                                        {"--all", 14U},
                                        {"--exclusion-mode=1", 17U}}) {
      SCOPED_TRACE(option);
      Words words(index - 3, "x");  // before the one at that index
      words.insert(words.begin(), {option, check.command});
      EXPECT_EQ(CheckIndex(words), check.message);
      words.emplace_back("x");
      EXPECT_EQ(CheckIndex(words), "");
      if (words.size() > 3) {
        words.pop_back();
        words.back() = "-1";
        words.insert(words.begin() + 1, "--");
        EXPECT_EQ(CheckIndex(words), check.message);
      }
    }
  }
}

}  // namespace
}  // namespace tests
