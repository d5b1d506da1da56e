// The client's own tables against the contract, row by row and in both directions: two
// statements of the same facts, made independently.

#include "contract/contract.h"

#include <gtest/gtest.h>

#include <string>

#include "client/command_table.h"
#include "support/bytes.h"
#include "unit/command_line.h"
#include "unit/packet_pair.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::MessageOf;
using tests::Options;
using tests::PacketPair;
using tests::SameBytes;

std::string NameOf(ArgumentCheck check) {
  switch (check) {
    case ArgumentCheck::CHECK_NONE:
      return "none";
    case ArgumentCheck::CHECK_UUID_OR_ALL:
      return "uuid-or-all";
    case ArgumentCheck::CHECK_UUID_LIST:
      return "uuid-list";
    case ArgumentCheck::CHECK_JSON:
      return "json";
    case ArgumentCheck::CHECK_LOG_LEVEL:
      return "log-level";
    case ArgumentCheck::CHECK_RECOVERY_TARGET:
      return "recovery-target";
    case ArgumentCheck::CHECK_WORK_ITEM:
      return "work-item";
    case ArgumentCheck::CHECK_CALLBACK_WORDS:
      return "callback-words";
    case ArgumentCheck::CHECK_MOVE_LISTS:
      return "move-lists";
    case ArgumentCheck::CHECK_EXCLUSION_LIST:
      return "exclusion-list";
  }
  return "a check without a name";
}

contract::ReplyMode ModeOf(ReplyMode mode) {
  switch (mode) {
    case ReplyMode::REPLY_STREAM:
      return contract::ReplyMode::STREAM;
    case ReplyMode::REPLY_PRINT:
      return contract::ReplyMode::PRINT;
    case ReplyMode::REPLY_SILENT:
      return contract::ReplyMode::SILENT;
    case ReplyMode::REPLY_NONE:
      break;
  }
  return contract::ReplyMode::NONE;
}

TEST(ContractOfCommands, HasEachRowOfTheTable) {
  for (const CommandSpec& row : COMMAND_TABLE) {
    SCOPED_TRACE(row.word);
    const contract::Command* command = contract::Get().CommandOfWord(row.word);
    if (command == nullptr) {
      ADD_FAILURE() << "the contract does not have this command";
      continue;
    }
    EXPECT_EQ(row.code, command->code);
    EXPECT_EQ(NameOf(row.check), command->check);
    EXPECT_EQ(row.receiveTimeoutSeconds, command->timeoutSeconds);
    EXPECT_EQ(ModeOf(row.replyMode), command->reply.mode);
    ClientOptions options;
    options.all = 1;
    EXPECT_EQ(ModeOf(ReplyModeOf(row, options)),
              command->with ? command->with->reply.mode : command->reply.mode);
    EXPECT_EQ(row.helpDescription != nullptr, command->listed);
    EXPECT_EQ(row.helpDescription != nullptr ? row.helpDescription : "", command->help);
  }
}

TEST(ContractOfCommands, HasNoCommandThatTheTableLacks) {
  for (const contract::Command& command : contract::Get().commands) {
    EXPECT_NE(FindCommand(command.word.c_str()), nullptr) << command.word;
  }
}

/// The first example of a command shows the command itself.
TEST(ContractOfCommands, HasThePayloadThatEachRowSends) {
  for (const contract::Command& command : contract::Get().commands) {
    SCOPED_TRACE(command.word);
    const CommandSpec* row = FindCommand(command.word.c_str());
    if (row == nullptr) {
      continue;  // reported by the test before
    }
    CommandLine line(command.examples.at(0).args);
    const Options options;
    const int next = ParseOptions(line.Count(), line.Vector(), *options).wordIndex + 1;
    options->commandArgIndex = next < line.Count() ? next : 0;
    const PacketPair pair;
    EXPECT_EQ(BuildAndSendRequest(pair.Client(), *row, *options, line.Count(), line.Vector()),
              STATUS_OK);
    std::string request;
    for (const std::string& packet : pair.Received()) {
      request += packet;
    }
    EXPECT_TRUE(SameBytes(command.examples.at(0).Request(), request));
    std::free(options->json);
  }
}

TEST(ContractOfOptions, HasTheRowsOfTheTableInTheirOrder) {
  std::size_t index = 0;
  for (const contract::Option& stated : contract::Get().options) {
    const option& row = LONG_OPTIONS[index++];
    ASSERT_NE(row.name, nullptr) << "the table does not have --" << stated.name;
    EXPECT_EQ(row.name, stated.name);
    EXPECT_EQ(row.val, stated.letter) << stated.name;
    EXPECT_EQ(row.has_arg == required_argument, stated.type != "none") << stated.name;
  }
  EXPECT_EQ(LONG_OPTIONS[index].name, nullptr)
      << "the contract does not have --" << LONG_OPTIONS[index].name;
}

TEST(ContractOfOptions, HasTheDefaultSocketPath) {
  EXPECT_EQ(DEFAULT_SOCKET_PATH, contract::Get().socketPath);
}

TEST(ContractOfOptions, HasTheNumberOfEachWorkItem) {
  const contract::Names* names = contract::Get().OptionOfName("work-item")->names;
  ASSERT_NE(names, nullptr);
  for (const contract::NamedNumber& stated : names->numbers) {
    CommandLine line({"-i", stated.name});
    const Options options;
    EXPECT_EQ(MessageOf(ParseOptions(line.Count(), line.Vector(), *options).error), "");
    EXPECT_EQ(options->workItem, stated.number) << stated.name;
  }
  for (const WorkItemName& row : WORK_ITEM_NAMES) {
    EXPECT_EQ(names->NameOf(row.type), row.name) << "the contract does not have this name";
  }
}

}  // namespace
}  // namespace trel
