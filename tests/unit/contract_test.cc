// The client's own tables against the contract, in both directions: two statements of the
// same facts, made independently. tests/cli/contract_test.cc compares what they lead to.

#include "contract/contract.h"

#include <gtest/gtest.h>

#include "client/command_table.h"
#include "client/options.h"
#include "unit/fake_run.h"

namespace tests {
namespace {

TEST(ContractOfCommands, HasEachRowOfTheTable) {
  for (const trel::CommandSpec& row : trel::COMMAND_TABLE) {
    const contract::Command* command = contract::Get().CommandOfWord(row.word);
    ASSERT_NE(command, nullptr) << "the contract does not have " << row.word;
    EXPECT_EQ(row.code, command->code) << row.word;
    EXPECT_EQ(row.receiveTimeoutSeconds, command->timeoutSeconds) << row.word;
    EXPECT_EQ(row.helpDescription != nullptr, command->listed) << row.word;
  }
}

/// The first message that the contract has of a check; none of one that always passes.
std::string MessageOf(const std::string& check) {
  for (const contract::Diagnostic& diagnostic : contract::Get().diagnostics) {
    if (diagnostic.check == check) {
      return diagnostic.text;
    }
  }
  EXPECT_EQ(check, "none");
  return "";
}

TEST(ContractOfCommands, HasTheCheckOfEachRow) {
  for (const contract::Command& command : contract::Get().commands) {
    // No option that any check asks for, and no word at the index of this one.
    const FakeRun run = RunInFakeSystem({"--exclusion-mode=1", command.word}, "");
    EXPECT_EQ(run.err, MessageOf(command.check)) << command.word;
  }
}

TEST(ContractOfOptions, HasTheRowsOfTheTableInTheirOrder) {
  std::size_t index = 0;
  for (const contract::Option& stated : contract::Get().options) {
    const option& row = trel::LONG_OPTIONS[index++];
    ASSERT_NE(row.name, nullptr) << "the table does not have --" << stated.name;
    EXPECT_EQ(row.name, stated.name);
    EXPECT_EQ(row.val, stated.letter) << stated.name;
    EXPECT_EQ(row.has_arg == required_argument, stated.type != "none") << stated.name;
  }
  EXPECT_EQ(trel::LONG_OPTIONS[index].name, nullptr)
      << "the contract does not have --" << trel::LONG_OPTIONS[index].name;
}

TEST(ContractOfOptions, HasTheDefaultSocketPath) {
  EXPECT_EQ(trel::DEFAULT_SOCKET_PATH, contract::Get().socketPath);
}

TEST(ContractOfOptions, HasTheNumberOfEachWorkItem) {
  const contract::Names* names = contract::Get().OptionOfName("work-item")->names;
  ASSERT_NE(names, nullptr);
  for (const contract::NamedNumber& stated : names->numbers) {
    const FakeRun run = RunInFakeSystem({"enable-workitem", "-i", stated.name}, "");
    EXPECT_STREQ(run.sent.substr(8).c_str(), std::to_string(stated.number).c_str()) << stated.name;
  }
  for (const trel::WorkItemName& row : trel::WORK_ITEM_NAMES) {
    EXPECT_EQ(names->NameOf(row.type), row.name) << "the contract does not have this name";
  }
}

}  // namespace
}  // namespace tests
