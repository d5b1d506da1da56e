// Command selection and the ten checks: what satisfies each, what fails it.

#include "client/argument_checks.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "unit/command_line.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::Options;
using tests::UuidList;
using enum UsageErrorKind;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

struct Checked {
  Options options;
  UsageErrorKind kind;
};

/// Parses `words`, selects the command and checks it, as a run does.
Checked Check(const std::vector<std::string>& words) {
  CommandLine line(words);
  Checked checked{.options = {}, .kind = NONE};
  const ParseResult parsed = ParseOptions(line.Count(), line.Vector(), *checked.options);
  EXPECT_FALSE(IsError(parsed.error));
  const CommandSpec* command = nullptr;
  const UsageError error = SelectCommand(line.Count(), line.Vector(), parsed.wordIndex, &command);
  checked.kind = error.kind;
  if (!IsError(error)) {
    checked.kind = CheckCommandArguments(*command, line.Count(), line.Vector(), parsed.wordIndex,
                                         *checked.options)
                       .kind;
  }
  return checked;
}

UsageErrorKind KindOf(const std::vector<std::string>& words) { return Check(words).kind; }

TEST(SelectCommand, MissesTheWordWhenOnlyOptionsAreGiven) {
  EXPECT_EQ(KindOf({"-s", "/tmp/x"}), COMMAND_MISSING);
  EXPECT_EQ(KindOf({"-a", "--"}), COMMAND_MISSING);
}

TEST(SelectCommand, HandsTheUnknownWordBack) {
  CommandLine line({"statz"});
  const CommandSpec* command = nullptr;
  const UsageError error = SelectCommand(line.Count(), line.Vector(), 1, &command);
  EXPECT_EQ(error.kind, COMMAND_UNKNOWN);
  EXPECT_EQ(error.text, line.Vector()[1]);
  EXPECT_EQ(command, nullptr);
}

TEST(SelectCommand, TakesTheFirstWordThatIsNoOption) {
  EXPECT_EQ(KindOf({"stats", "crawler"}), NONE);
  EXPECT_EQ(KindOf({"statz", "stats"}), COMMAND_UNKNOWN);
  EXPECT_EQ(KindOf({""}), COMMAND_UNKNOWN);
}

TEST(CommandArgIndex, IsTheNextWordOrZero) {
  EXPECT_EQ(Check({"stats"}).options->commandArgIndex, 0);
  EXPECT_EQ(Check({"stats", "extra", "words"}).options->commandArgIndex, 2);
  EXPECT_EQ(Check({"-a", "stats"}).options->commandArgIndex, 0);
  EXPECT_EQ(Check({"stats", "-a"}).options->commandArgIndex, 0);
  EXPECT_EQ(Check({"stats", "-a", "word"}).options->commandArgIndex, 3);
}

TEST(CheckNone, RequiresNothing) {
  for (const char* word : {"stats",
                           "fitness-config-get",
                           "fitness-config-reset",
                           "fitness-stats-get",
                           "fix-object-immediate",
                           "get-object-last-operation",
                           "start-proactive-rebalance",
                           "stop-proactive-rebalance",
                           "info-proactive-rebalance",
                           "fix-concats",
                           "resources-to-fix-unhealthy-objects",
                           "what-if-cancel",
                           "force-reconfigure-the-object",
                           "update-treldb",
                           "replace-treldb",
                           "pause-decom-state-progress",
                           "resume-decom-state-progress",
                           "start-decom-state-heartbeat",
                           "pause-failed-delta-entry-processing",
                           "refresh-config-opts",
                           "info-owner-rebalance",
                           "set-preferred-fd",
                           "set-nonPreferred-fd"}) {
    EXPECT_EQ(KindOf({word}), NONE) << word;
  }
}

TEST(CheckUuidOrAll, NeedsEitherOption) {
  for (const char* word : {"crawler", "info-rebalance", "what-if-entity-decom",
                           "get-obj-decom-state", "get-obj-crawler-state"}) {
    EXPECT_EQ(KindOf({word}), UUID_MISSING) << word;
    EXPECT_EQ(KindOf({word, "word"}), UUID_MISSING) << word;
    EXPECT_EQ(KindOf({word, "-l", UuidList(1), "-m", "1"}), UUID_MISSING) << word;
    EXPECT_EQ(KindOf({word, "-u", UUID}), NONE) << word;
    EXPECT_EQ(KindOf({"-u", UUID, word}), NONE) << word;
    EXPECT_EQ(KindOf({word, "-a"}), NONE) << word;
    EXPECT_EQ(KindOf({word, "-a", "-u", UUID}), NONE) << word;
  }
}

TEST(CheckUuidList, NeedsTheList) {
  EXPECT_EQ(KindOf({"what-if-upgrade"}), UUID_LIST_MISSING);
  EXPECT_EQ(KindOf({"what-if-upgrade", "-u", UUID, "-a"}), UUID_LIST_MISSING);
  EXPECT_EQ(KindOf({"what-if-upgrade", "-n", UuidList(1)}), UUID_LIST_MISSING);
  EXPECT_EQ(KindOf({"what-if-upgrade", "-l", UuidList(1)}), NONE);
}

TEST(CheckJson, NeedsTheOptionEvenIfEmpty) {
  EXPECT_EQ(KindOf({"fitness-config-set"}), JSON_MISSING);
  EXPECT_EQ(KindOf({"fitness-config-set", "{}"}), JSON_MISSING);
  EXPECT_EQ(KindOf({"fitness-config-set", "-j", "{}"}), NONE);
  EXPECT_EQ(KindOf({"fitness-config-set", "--json", ""}), NONE);
}

TEST(CheckRecoveryTarget, NeedsAUuidOrAMode) {
  const char* word = "enable-trel-recovery-mode";
  EXPECT_EQ(KindOf({word}), RECOVERY_TARGET_MISSING);
  EXPECT_EQ(KindOf({word, "-a"}), RECOVERY_TARGET_MISSING);
  EXPECT_EQ(KindOf({word, "-u", UUID}), NONE);
  EXPECT_EQ(KindOf({word, "-m", "0"}), NONE);
}

TEST(CheckWorkItem, NeedsAType) {
  for (const char* word : {"enable-workitem", "disable-workitem"}) {
    EXPECT_EQ(KindOf({word}), WORK_ITEM_MISSING) << word;
    EXPECT_EQ(KindOf({word, "MOVE"}), WORK_ITEM_MISSING) << word;
    EXPECT_EQ(KindOf({word, "-i", "MOVE"}), NONE) << word;
    EXPECT_EQ(KindOf({word, "-i", "PLACEMENT"}), NONE) << word;
  }
}

/// log-level and block-cdb-cb share the test and differ in the message.
struct PlaceCheck {
  const char* word;
  UsageErrorKind missing;
};

void PrintTo(const PlaceCheck& row, std::ostream* out) { *out << row.word; }

class CheckOfThePlace : public testing::TestWithParam<PlaceCheck> {};

INSTANTIATE_TEST_SUITE_P(Both, CheckOfThePlace,
                         testing::Values(PlaceCheck{"log-level", LOG_LEVEL_MISSING},
                                         PlaceCheck{"block-cdb-cb", CALLBACK_WORDS_MISSING}),
                         [](const auto& row) {
                           return row.index == 0 ? "LogLevel" : "CallbackWords";
                         });

TEST_P(CheckOfThePlace, PassesWithAndWithoutAWordWhenNoLongOptionIsGiven) {
  const auto& [word, missing] = GetParam();
  EXPECT_EQ(KindOf({word}), NONE);
  EXPECT_EQ(KindOf({word, "3"}), NONE);
  EXPECT_EQ(KindOf({word, "no number"}), NONE);
  EXPECT_EQ(KindOf({word, "-a"}), NONE);
}

TEST_P(CheckOfThePlace, LooksAtTheArgumentInTheLongOptionsPlace) {
  const auto& [word, missing] = GetParam();
  EXPECT_EQ(KindOf({"--timeout=5", word}), missing);
  EXPECT_EQ(KindOf({"--timeout=5", word, "2"}), NONE);
  EXPECT_EQ(KindOf({"--uuid=" + UUID, word, "7"}), missing);
  EXPECT_EQ(KindOf({"--uuid=" + UUID, word, "7", "8"}), NONE);
  EXPECT_EQ(KindOf({"--socket-path", "-1", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--output-path=x", word}), NONE);
}

TEST_P(CheckOfThePlace, FailsForAPlaceBeyondTheArguments) {
  const auto& [word, missing] = GetParam();
  EXPECT_EQ(KindOf({"--exclusion-mode=1", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--all", word, "3"}), missing);
}

TEST_P(CheckOfThePlace, RefusesOnlyTheLargestNumber) {
  const auto& [word, missing] = GetParam();
  // Argument 2 is the socket path.
  EXPECT_EQ(KindOf({"--socket-path", "18446744073709551615", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--socket-path", "18446744073709551616", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--socket-path", "99999999999999999999x", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--socket-path", "-1x", word, "3"}), missing);
  EXPECT_EQ(KindOf({"--socket-path", "18446744073709551614", word, "3"}), NONE);
  EXPECT_EQ(KindOf({"--socket-path", "4294967295", word, "3"}), NONE);
  EXPECT_EQ(KindOf({"--socket-path", "-2", word, "3"}), NONE);
  EXPECT_EQ(KindOf({"--socket-path", "", word, "3"}), NONE);
}

TEST_P(CheckOfThePlace, LooksAtTheWordsInTheirNewOrder) {
  const auto& [word, missing] = GetParam();
  // Typed: word 3 --socket-path -1; reordered: --socket-path -1 word 3.
  EXPECT_EQ(KindOf({word, "3", "--socket-path", "-1"}), missing);
}

TEST(CheckMoveLists, NeedsAUuidFirstOfAll) {
  const char* word = "component-manual-move";
  EXPECT_EQ(KindOf({word}), UUID_MISSING);
  EXPECT_EQ(KindOf({word, "-a"}), UUID_MISSING);
  EXPECT_EQ(KindOf({word, "-n", UuidList(1)}), UUID_MISSING);
  EXPECT_EQ(KindOf({word, "-n", UuidList(1), "-x", UuidList(1)}), UUID_MISSING);
  EXPECT_EQ(KindOf({word, "-n", ""}), UUID_MISSING);
}

TEST(CheckMoveLists, NeedsExactlyOneList) {
  const char* word = "component-manual-move";
  EXPECT_EQ(KindOf({word, "-u", UUID}), MOVE_LISTS_NOT_ONE);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-n", UuidList(1), "-x", UuidList(1)}), MOVE_LISTS_NOT_ONE);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-n", "", "-x", ""}), MOVE_LISTS_NOT_ONE);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-n", UuidList(1)}), NONE);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-x", UuidList(1)}), NONE);
}

TEST(CheckMoveLists, RefusesAnEmptyList) {
  const char* word = "component-manual-move";
  EXPECT_EQ(KindOf({word, "-u", UUID, "-n", ""}), MOVE_LIST_EMPTY);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-x", ""}), MOVE_LIST_EMPTY);
  EXPECT_EQ(KindOf({word, "-u", UUID, "-n", UuidList(1), "-n", ""}), MOVE_LIST_EMPTY);
}

TEST(CheckExclusionList, NeedsTheListEvenIfEmpty) {
  const char* word = "set-global-exclusion-list";
  EXPECT_EQ(KindOf({word}), EXCLUSION_LIST_MISSING);
  EXPECT_EQ(KindOf({word, "-n", UuidList(1)}), EXCLUSION_LIST_MISSING);
  EXPECT_EQ(KindOf({word, "-x", ""}), NONE);
  EXPECT_EQ(KindOf({word, "-x", UuidList(2)}), NONE);
}

}  // namespace
}  // namespace trel
