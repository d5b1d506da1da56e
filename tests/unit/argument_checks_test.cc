// Command selection and the checks: what satisfies each, what fails it.

#include "client/argument_checks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/command_line.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::MessageOf;
using tests::Options;
using tests::UuidList;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string PASSES;
const std::string NO_COMMAND = "Command string missing\n";
const std::string NO_UUID = "UUID must be provided (specify with --uuid)\n";
const std::string NO_UUID_LIST =
    "UUID's must be provided, separated by comma (specify with --uuid-list)\n";
const std::string NO_JSON = "Fitness config must be provided (specify with --json <json object>)\n";
const std::string NO_TARGET =
    "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) must be "
    "provided\n";
const std::string NO_WORK_ITEM_TYPE =
    "work-item type must be provided (specify with -i/--work-item)\n";
const std::string NOT_ONE_LIST =
    "Either destination list(specify with -n/--destination-list) or exclusion list (specify with "
    "-x/--exclusion-list) should be provided \n";
const std::string EMPTY_LIST = "Empty destination or exclusion list not allowed.";
const std::string NO_EXCLUSION_LIST =
    "Exclusion list must be provided (specify with -x/--exclusion-list)";

/// Parses `words`, selects the command and checks it, as a run does. The message, or
/// PASSES; `options` then holds what was parsed.
std::string Check(const Words& words, const Options& options = {}) {
  CommandLine line(words);
  const ParseResult parsed = ParseOptions(line.Count(), line.Vector(), *options);
  EXPECT_FALSE(IsError(parsed.error));
  const CommandSpec* command = nullptr;
  UsageError error = SelectCommand(line.Count(), line.Vector(), parsed.wordIndex, &command);
  EXPECT_EQ(command == nullptr, IsError(error));
  if (command != nullptr) {
    error =
        CheckCommandArguments(*command, line.Count(), line.Vector(), parsed.wordIndex, *options);
  }
  return MessageOf(error);
}

struct Case {
  Words words;
  std::string message;
};

void ExpectAll(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    EXPECT_EQ(Check(row.words), row.message) << testing::PrintToString(row.words);
  }
}

TEST(SelectCommand, TakesTheFirstWordThatIsNotAnOption) {
  ExpectAll({{{"-s", "/tmp/x"}, NO_COMMAND},
             {{"-a", "--"}, NO_COMMAND},
             {{"stats", "crawler"}, PASSES},
             {{"statz", "stats"}, "Unrecognized command: statz\n"},
             {{""}, "Unrecognized command: \n"},
             {{"%n%s"}, "Unrecognized command: %n%s\n"}});
}

TEST(CommandArgIndex, IsTheNextWordOrZero) {
  const std::vector<std::pair<Words, int>> cases = {{{"stats"}, 0},
                                                    {{"stats", "extra", "words"}, 2},
                                                    {{"-a", "stats"}, 0},
                                                    {{"stats", "-a"}, 0},
                                                    {{"stats", "-a", "word"}, 3}};
  for (const auto& [words, index] : cases) {
    const Options options;
    EXPECT_EQ(Check(words, options), PASSES);
    EXPECT_EQ(options->commandArgIndex, index) << testing::PrintToString(words);
  }
}

TEST(CheckCommandArguments, LooksAtTheOptionsThatTheCheckIsAbout) {
  ExpectAll({
      {{"fix-object-immediate"}, PASSES},
      {{"crawler"}, NO_UUID},
      {{"crawler", "word"}, NO_UUID},
      {{"crawler", "-l", UuidList(1), "-m", "1"}, NO_UUID},
      {{"crawler", "-u", UUID}, PASSES},
      {{"crawler", "-a"}, PASSES},
      {{"crawler", "-a", "-u", UUID}, PASSES},
      {{"what-if-upgrade"}, NO_UUID_LIST},
      {{"what-if-upgrade", "-u", UUID, "-a", "-n", UuidList(1)}, NO_UUID_LIST},
      {{"what-if-upgrade", "-l", UuidList(1)}, PASSES},
      {{"fitness-config-set"}, NO_JSON},
      {{"fitness-config-set", "{}"}, NO_JSON},
      {{"enable-trel-recovery-mode"}, NO_TARGET},
      {{"enable-trel-recovery-mode", "-a"}, NO_TARGET},
      {{"enable-trel-recovery-mode", "-u", UUID}, PASSES},
      {{"enable-trel-recovery-mode", "-m", "0"}, PASSES},
      {{"enable-workitem"}, NO_WORK_ITEM_TYPE},
      {{"enable-workitem", "MOVE"}, NO_WORK_ITEM_TYPE},
      {{"enable-workitem", "-i", "PLACEMENT"}, PASSES},
  });
}

TEST(CheckMoveLists, TestsTheUuidThenTheNumberOfListsThenTheirContent) {
  const std::string word = "component-manual-move";
  ExpectAll({
      {{word}, NO_UUID},
      {{word, "-a", "-n", UuidList(1)}, NO_UUID},
      {{word, "-n", "", "-x", ""}, NO_UUID},
      {{word, "-u", UUID}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", UuidList(1), "-x", UuidList(1)}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", "", "-x", ""}, NOT_ONE_LIST},
      {{word, "-u", UUID, "-n", ""}, EMPTY_LIST},
      {{word, "-u", UUID, "-x", ""}, EMPTY_LIST},
      {{word, "-u", UUID, "-n", UuidList(1), "-n", ""}, EMPTY_LIST},
      {{word, "-u", UUID, "-n", UuidList(1)}, PASSES},
      {{word, "-u", UUID, "-x", UuidList(1)}, PASSES},
  });
}

TEST(CheckExclusionList, NeedsTheListEvenIfEmpty) {
  const std::string word = "set-global-exclusion-list";
  ExpectAll({{{word}, NO_EXCLUSION_LIST},
             {{word, "-n", UuidList(1)}, NO_EXCLUSION_LIST},
             {{word, "-x", ""}, PASSES},
             {{word, "-x", UuidList(2)}, PASSES}});
}

/// log-level and block-cdb-cb share the test and differ in the message.
TEST(CheckOfTheLongOptionIndex, TestsTheWordAtThatIndexAlone) {
  for (const auto& [word, fails] : std::vector<std::pair<std::string, std::string>>{
           {"log-level", "Log level must be specified. E.g.: trel-tool log-level 2\n"},
           {"block-cdb-cb", "Callback entry and event type must be provided.\n"}}) {
    ExpectAll({
        // Without a long option the index is 1.
        {{word}, PASSES},
        {{word, "3"}, PASSES},
        {{word, "no number"}, PASSES},
        {{"-o", "-1", word, "3"}, PASSES},
        // --output-path is 1, --socket-path 2, --timeout 3, --uuid 4.
        {{"--output-path=x", word}, PASSES},
        {{"--timeout=5", word}, fails},
        {{"--timeout=5", word, "2"}, PASSES},
        {{"--uuid=" + UUID, word, "7"}, fails},
        {{"--uuid=" + UUID, word, "7", "8"}, PASSES},
        {{"--exclusion-mode=1", word, "3"}, fails},
        {{"--all", word, "3"}, fails},
        // Argument 2 is the socket path: only the largest number fails.
        {{"--socket-path", "-1", word, "3"}, fails},
        {{"--socket-path", "-1x", word, "3"}, fails},
        {{"--socket-path", "18446744073709551615", word, "3"}, fails},
        {{"--socket-path", "18446744073709551616", word, "3"}, fails},
        {{"--socket-path", "18446744073709551614", word, "3"}, PASSES},
        {{"--socket-path", "4294967295", word, "3"}, PASSES},
        {{"--socket-path", "-2", word, "3"}, PASSES},
        {{"--socket-path", "", word, "3"}, PASSES},
        // The words count as getopt_long(3) has reordered them.
        {{word, "3", "--socket-path", "-1"}, fails},
    });
  }
}

}  // namespace
}  // namespace trel
