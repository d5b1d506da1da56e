// How the command table is looked up. contract_test.cc has its rows.

#include "client/command_table.h"

#include <gtest/gtest.h>

namespace trel {
namespace {

TEST(FindCommand, FindsEachWordAndNoOther) {
  for (const CommandSpec& command : COMMAND_TABLE) {
    EXPECT_EQ(FindCommand(command.word), &command) << command.word;
  }
  for (const char* word : {"Stats", "STATS", "stat", "statss", "", " stats", "stats ",
                           "set-nonpreferred-fd", "set-NonPreferred-fd", "-"}) {
    EXPECT_EQ(FindCommand(word), nullptr) << word;
  }
}

TEST(ReplyModeOf, IsTheRowsExceptForTheCrawlerStateOfAllObjects) {
  ClientOptions all;
  all.all = 1;
  for (const CommandSpec& command : COMMAND_TABLE) {
    EXPECT_EQ(ReplyModeOf(command, {}), command.replyMode) << command.word;
    EXPECT_EQ(ReplyModeOf(command, all),
              command.code == 26 ? ReplyMode::REPLY_STREAM : command.replyMode)
        << command.word;
  }
}

}  // namespace
}  // namespace trel
