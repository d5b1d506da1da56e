// The command table, row by row, and how it is looked up.

#include "client/command_table.h"

#include <gtest/gtest.h>

#include <string>

namespace trel {
namespace {

using enum ArgumentCheck;
using enum ReplyMode;
using enum PayloadKind;

struct Row {
  const char* word;
  ArgumentCheck check;
  std::uint32_t timeout;
  ReplyMode mode;
  PayloadKind payload;
  bool listed;
};

const std::vector<Row> ROWS = {
    {"stats", CHECK_NONE, 20, REPLY_STREAM, EMPTY, true},
    {"crawler", CHECK_UUID_OR_ALL, 20, REPLY_SILENT, UUID_TEXT, true},
    {"fitness-config-get", CHECK_NONE, 20, REPLY_PRINT, EMPTY, false},
    {"fitness-config-set", CHECK_JSON, 20, REPLY_SILENT, JSON_TEXT, false},
    {"fitness-config-reset", CHECK_NONE, 20, REPLY_SILENT, EMPTY, false},
    {"fitness-stats-get", CHECK_NONE, 20, REPLY_PRINT, EMPTY, true},
    {"log-level", CHECK_LOG_LEVEL, 20, REPLY_SILENT, LOG_LEVEL_WORD, true},
    {"fix-object-immediate", CHECK_NONE, 20, REPLY_SILENT, UUID_TEXT, true},
    {"get-object-last-operation", CHECK_NONE, 20, REPLY_PRINT, UUID_TEXT, false},
    {"start-proactive-rebalance", CHECK_NONE, 20, REPLY_SILENT, REBALANCE_PARAMS, true},
    {"stop-proactive-rebalance", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"info-proactive-rebalance", CHECK_NONE, 20, REPLY_PRINT, EMPTY, true},
    {"fix-concats", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"info-rebalance", CHECK_UUID_OR_ALL, 20, REPLY_PRINT, UUID_TEXT, true},
    {"resources-to-fix-unhealthy-objects", CHECK_NONE, 1800, REPLY_PRINT, UUID_TEXT, true},
    {"what-if-entity-decom", CHECK_UUID_OR_ALL, 1800, REPLY_PRINT, DECOM_WHAT_IF, true},
    {"what-if-upgrade", CHECK_UUID_LIST, 7200, REPLY_PRINT, UPGRADE_WHAT_IF, true},
    {"what-if-cancel", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"force-reconfigure-the-object", CHECK_NONE, 20, REPLY_SILENT, RECONFIGURE, true},
    {"update-treldb", CHECK_NONE, 20, REPLY_SILENT, FILE_PATH_TEXT, true},
    {"replace-treldb", CHECK_NONE, 20, REPLY_SILENT, FILE_PATH_TEXT, true},
    {"enable-trel-recovery-mode", CHECK_RECOVERY_TARGET, 20, REPLY_SILENT, UUID_AND_RECOVERY_MODE,
     true},
    {"get-obj-decom-state", CHECK_UUID_OR_ALL, 20, REPLY_PRINT, UUID_TEXT, false},
    {"enable-workitem", CHECK_WORK_ITEM, 20, REPLY_SILENT, WORK_ITEM_TEXT, true},
    {"disable-workitem", CHECK_WORK_ITEM, 20, REPLY_SILENT, WORK_ITEM_TEXT, true},
    {"get-obj-crawler-state", CHECK_UUID_OR_ALL, 20, REPLY_PRINT, UUID_AND_ALL_FLAG, true},
    {"pause-decom-state-progress", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"resume-decom-state-progress", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"start-decom-state-heartbeat", CHECK_NONE, 20, REPLY_SILENT, EMPTY, true},
    {"pause-failed-delta-entry-processing", CHECK_NONE, 20, REPLY_NONE, EMPTY, true},
    {"block-cdb-cb", CHECK_CALLBACK_WORDS, 20, REPLY_NONE, CALLBACK_BLOCK, true},
    {"refresh-config-opts", CHECK_NONE, 20, REPLY_NONE, EMPTY, true},
    {"component-manual-move", CHECK_MOVE_LISTS, 20, REPLY_SILENT, MANUAL_MOVE, true},
    {"set-global-exclusion-list", CHECK_EXCLUSION_LIST, 20, REPLY_SILENT, GLOBAL_EXCLUSION, true},
    {"info-owner-rebalance", CHECK_NONE, 20, REPLY_PRINT, EMPTY, true},
    {"set-preferred-fd", CHECK_NONE, 20, REPLY_SILENT, UUID_TEXT, true},
    {"set-nonPreferred-fd", CHECK_NONE, 20, REPLY_SILENT, UUID_TEXT, true},
};

TEST(CommandTable, HoldsEveryRowInCodeOrder) {
  ASSERT_EQ(COMMAND_TABLE.size(), ROWS.size());
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    SCOPED_TRACE(ROWS[row].word);
    EXPECT_STREQ(COMMAND_TABLE[row].word, ROWS[row].word);
    EXPECT_EQ(COMMAND_TABLE[row].code, row + 1);
    EXPECT_EQ(COMMAND_TABLE[row].check, ROWS[row].check);
    EXPECT_EQ(COMMAND_TABLE[row].receiveTimeoutSeconds, ROWS[row].timeout);
    EXPECT_EQ(COMMAND_TABLE[row].replyMode, ROWS[row].mode);
    EXPECT_EQ(COMMAND_TABLE[row].payloadKind, ROWS[row].payload);
    EXPECT_EQ(COMMAND_TABLE[row].helpDescription != nullptr, ROWS[row].listed);
  }
}

TEST(FindCommand, FindsEachWord) {
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    EXPECT_EQ(FindCommand(ROWS[row].word), &COMMAND_TABLE[row]) << ROWS[row].word;
  }
}

TEST(FindCommand, TakesWholeWordsInTheirOwnCaseOnly) {
  for (const char* word : {"Stats", "STATS", "stat", "statss", "", " stats", "stats ",
                           "set-nonpreferred-fd", "set-NonPreferred-fd", "-"}) {
    EXPECT_EQ(FindCommand(word), nullptr) << word;
  }
}

TEST(CommandOfCode, IsTheRowOfThatCodeAndStatsForAnyOther) {
  for (CommandCode code = 1; code <= 37; ++code) {
    EXPECT_EQ(CommandOfCode(code).code, code);
  }
  for (const CommandCode code : {0U, 38U, 1000U, 0xffffffffU}) {
    EXPECT_EQ(CommandOfCode(code).code, 1U) << code;
  }
}

TEST(ReplyModeOf, IsTheRowsButForTheCrawlerStateOfAllObjects) {
  ClientOptions options;
  for (const CommandSpec& command : COMMAND_TABLE) {
    options.all = 0;
    EXPECT_EQ(ReplyModeOf(command, options), command.replyMode) << command.word;
    options.all = 1;
    EXPECT_EQ(ReplyModeOf(command, options), command.code == 26 ? REPLY_STREAM : command.replyMode)
        << command.word;
  }
}

}  // namespace
}  // namespace trel
