// Refused command lines and the help text through the real binary: standard error,
// standard output and exit value, and that nothing ever connects.

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "support/client.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

std::string UsageFor(const std::string& name) {
  const std::string mark = "@NAME@";
  std::string text = ReadFile(TREL_USAGE_TEXT);
  return text.replace(text.find(mark), mark.size(), name);
}

std::string List(std::size_t entries) {
  std::string list = UUID;
  for (std::size_t entry = 1; entry < entries; ++entry) {
    list += "," + UUID;
  }
  return list;
}

// --- help ------------------------------------------------------------------------

TEST(Help, IsTheFixedTextWithExitValueZero) {
  for (const Words& words :
       {Words{"-h"}, {"--help"}, {"--he"}, {"stats", "-h"}, {"-h", "-X", "5"}}) {
    const ProcessResult run = RunClientAlone(words);
    EXPECT_EQ(run.out, UsageFor("trel-tool"));
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.exitValue, 0);
  }
}

TEST(Help, NamesTheProgramAsInvoked) {
  const ProcessResult run =
      RunProcess({.arguments = {"/some/where/else %s", "-h"}, .program = ClientPath()});
  EXPECT_EQ(run.out, UsageFor("/some/where/else %s"));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Help, EndsWithOneLineEndAfterTheExclusionMode) {
  const std::string out = RunClientAlone({"-h"}).out;
  EXPECT_TRUE(out.ends_with("3: ignoreForWitnessAndNewPlacement)\n"));
}

TEST(Help, LeavesFiveWorkingCommandsOut) {
  const std::string out = RunClientAlone({"-h"}).out;
  for (const char* word : {"fitness-config-get", "fitness-config-set", "fitness-config-reset",
                           "get-object-last-operation", "get-obj-decom-state"}) {
    EXPECT_EQ(out.find(word), std::string::npos) << word;
  }
}

TEST(NoWords, PrintTheHelpAloneAndFail) {
  const ProcessResult run = RunClientAlone({});
  EXPECT_EQ(run.out, UsageFor("trel-tool"));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 1);
}

// --- refused command lines -------------------------------------------------------

struct Row {
  Words words;
  std::string message;
};

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      // Options, in the order of their table.
      {{"-t", "99999999999999999999"}, "Failed to parse wait timeout: 99999999999999999999\n"},
      {{"-u", "0123456"}, "Failed to parse UUID: 0123456, length=4\n"},
      {{"-u", ""}, "Failed to parse UUID: , length=-1\n"},
      {{"-l", std::string(35, 'u')}, "Invalid UUID: " + std::string(35, 'u') + "\n"},
      {{"-l", std::string(37, 'u')}, "Invalid UUID: " + std::string(37, 'u') + "\n"},
      {{"-l", ""}, "Invalid UUID: \n"},
      {{"-l", UUID + ", " + UUID}, "Invalid UUID: " + UUID + ", " + UUID + "\n"},
      {{"-f", std::string(4097, 'p')}, "File path is longer than the max path length"},
      {{"-d", "99999999999999999999"}, "Failed to parse decomMode: 99999999999999999999\n"},
      {{"-r", "99999999999999999999"}, "Failed to parse reason: 99999999999999999999\n"},
      {{"-i", "move"}, "Invalid work-item type name: move\n"},
      {{"-m", "8"}, "Failed to parse recoveryMode: 8\n"},
      {{"-m", "-1"}, "Failed to parse recoveryMode: -1\n"},
      {{"-m", "99999999999999999999"}, "Failed to parse recoveryMode: 99999999999999999999\n"},
      {{"-n", "x"}, "Invalid UUID: x\n"},
      {{"-n", List(2560)}, "Destination list is longer than max limit\n"},
      {{"-x", "x"}, "Invalid UUID: x\n"},
      {{"-x", List(2560)}, "Exclusion list is longer than max limit\n"},
      {{"-X", "4"}, "Invalid exclusion mode: 4\n"},
      {{"-X", "-1"}, "Invalid exclusion mode: -1\n"},
      {{"-X", "99999999999999999999"}, "Failed to parse exclusion mode: 99999999999999999999\n"},
      {{"-X", "5", "-h"}, "Invalid exclusion mode: 5\n"},

      // The C library's own words.
      {{"-z"}, "trel-tool: invalid option -- 'z'\n"},
      {{"stats", "-u"}, "trel-tool: option requires an argument -- 'u'\n"},
      {{"--nosuch", "stats"}, "trel-tool: unrecognized option '--nosuch'\n"},

      // What parsing finds comes before anything about the command word.
      {{"nosuch", "-X", "4"}, "Invalid exclusion mode: 4\n"},
      {{"crawler", "-i", "move"}, "Invalid work-item type name: move\n"},

      // The command word.
      {{"-a"}, "Command string missing\n"},
      {{"--"}, "Command string missing\n"},
      {{"Stats"}, "Unrecognized command: Stats\n"},
      {{"stat"}, "Unrecognized command: stat\n"},
      {{""}, "Unrecognized command: \n"},
      {{"%n%s"}, "Unrecognized command: %n%s\n"},
      {{"--", "-h"}, "Unrecognized command: -h\n"},

      // The checks, in the order of their table.
      {{"crawler"}, "UUID must be provided (specify with --uuid)\n"},
      {{"info-rebalance", UUID}, "UUID must be provided (specify with --uuid)\n"},
      {{"what-if-entity-decom"}, "UUID must be provided (specify with --uuid)\n"},
      {{"get-obj-decom-state"}, "UUID must be provided (specify with --uuid)\n"},
      {{"get-obj-crawler-state"}, "UUID must be provided (specify with --uuid)\n"},
      {{"what-if-upgrade"},
       "UUID's must be provided, separated by comma (specify with --uuid-list)\n"},
      {{"fitness-config-set"},
       "Fitness config must be provided (specify with --json <json object>)\n"},
      {{"--timeout=5", "log-level"}, "Log level must be specified. E.g.: trel-tool log-level 2\n"},
      {{"--uuid=" + UUID, "log-level", "7"},
       "Log level must be specified. E.g.: trel-tool log-level 2\n"},
      {{"--socket-path", "-1", "log-level", "3"},
       "Log level must be specified. E.g.: trel-tool log-level 2\n"},
      {{"--exclusion-mode=1", "log-level", "3"},
       "Log level must be specified. E.g.: trel-tool log-level 2\n"},
      {{"enable-trel-recovery-mode"},
       "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) must "
       "be provided\n"},
      {{"enable-trel-recovery-mode", "-a"},
       "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) must "
       "be provided\n"},
      {{"enable-workitem"}, "work-item type must be provided (specify with -i/--work-item)\n"},
      {{"disable-workitem"}, "work-item type must be provided (specify with -i/--work-item)\n"},
      {{"--timeout=5", "block-cdb-cb"}, "Callback entry and event type must be provided.\n"},
      {{"component-manual-move", "-n", UUID, "-x", UUID},
       "UUID must be provided (specify with --uuid)\n"},
      {{"component-manual-move", "-u", UUID},
       "Either destination list(specify with -n/--destination-list) or exclusion list (specify "
       "with -x/--exclusion-list) should be provided \n"},
      {{"component-manual-move", "-u", UUID, "-n", UUID, "-x", UUID},
       "Either destination list(specify with -n/--destination-list) or exclusion list (specify "
       "with -x/--exclusion-list) should be provided \n"},
      {{"component-manual-move", "-u", UUID, "-n", ""},
       "Empty destination or exclusion list not allowed."},
      {{"set-global-exclusion-list"},
       "Exclusion list must be provided (specify with -x/--exclusion-list)"},
  };
  return rows;
}

TEST(RefusedLine, IsReportedThenTheHelpAndNothingConnects) {
  const std::string usage = UsageFor("trel-tool");
  for (const Row& row : Rows()) {
    const ProcessResult run = RunClientAlone(row.words);
    EXPECT_EQ(run.err, row.message);
    EXPECT_EQ(run.out, usage) << row.message;
    EXPECT_EQ(run.exitValue, 1) << row.message;
    EXPECT_EQ(run.signal, 0) << row.message;
  }
}

TEST(RefusedLine, NeverReachesADaemon) {
  for (const Words& words :
       {Words{"crawler"}, {"nosuch"}, {"-X", "4", "stats"}, {"stats", "-z"}, {"-h"}}) {
    const ClientResult run = RunClientAgainst({.words = words});
    EXPECT_FALSE(run.called) << words[0];
  }
}

TEST(RefusedLine, BothTextsReachOneFileInOrder) {
  const TempFolder folder;
  const std::string path = folder / "both";
  const ProcessResult run =
      RunProcess({.arguments = {"bash", "-c", "exec -a trel-tool \"$0\" nosuch >\"$1\" 2>&1",
                                ClientPath(), path},
                  .program = "/bin/bash"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(ReadFile(path), "Unrecognized command: nosuch\n" + UsageFor("trel-tool"));
}

TEST(UuidList, BeyondItsCapacityEndsTheProcessWithoutAWord) {
  const ProcessResult run = RunClientAlone({"-l", List(2561), "what-if-upgrade"});
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
}

TEST(CommandLine, AGoodOneIsQuietInEachSpelling) {
  for (const Words& words : {Words{"crawler", "-u", UUID},
                             {"-u", UUID, "crawler"},
                             {"crawler", "--uuid=" + UUID},
                             {"crawler", "--uuid", UUID},
                             {"-au", UUID, "crawler"},
                             {"-a", "--", "crawler", "-z"}}) {
    const ClientResult run = RunClientAgainst(
        {.words = words,
         .steps = {standin::ReadRequest{}, standin::SendBytes{std::string(8, '\0')}}});
    EXPECT_EQ(run.exitValue, 0);
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_EQ(run.request.size(), 44U);
  }
}

}  // namespace
}  // namespace tests
