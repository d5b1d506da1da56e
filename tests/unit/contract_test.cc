// The client's own tables against the contract, in both directions: two statements of the
// same facts, made independently. tests/cli/contract_test.cc compares examples and
// messages through the real binary.

#include "contract/contract.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "client/command_table.h"
#include "client/options.h"
#include "tests/unit/fake_run.h"

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

TEST(ContractOfCommands, HasTheReplyModeOfEach) {
  for (const CommandSample& sample : SampleOfEachCommand()) {
    SCOPED_TRACE(sample.name);
    const FakeRun error = RunInFakeSystem(sample.words, standin::EncodeFrame(5, "why"));
    // As a stream, the frame is text up to its first zero byte: none.
    EXPECT_EQ(error.out, "");
    EXPECT_EQ(error.err,
              sample.IsFramed() ? "Error received: Unknown status 0x00000005: why\n" : "");
    EXPECT_EQ(error.status, sample.IsFramed() ? 5U : 0U);
    const FakeRun closed = RunInFakeSystem(sample.words, "");
    EXPECT_EQ(closed.out, sample.mode == ReplyMode::PRINT ? "\n" : "");
    EXPECT_EQ(closed.err, "");
    EXPECT_EQ(closed.status, 0U);
  }
}

/// All that a run of these words shows: the file that -o makes is one of the calls.
auto Shown(std::vector<std::string> words, const std::vector<std::string>& more = {}) {
  words.insert(words.end(), more.begin(), more.end());
  const FakeRun run = RunInFakeSystem(std::move(words), standin::EncodeFrame(0, "text"));
  const bool opens = std::any_of(run.calls.begin(), run.calls.end(),
                                 [](const auto& call) { return call.starts_with("fopen("); });
  return std::tuple(run.sent, run.out, run.err, run.status, opens);
}

TEST(ContractOfCommands, NamesTheOptionsThatEachHeedsAndNoOther) {
  // Values that no example gives.
  const std::map<std::string, std::string> values = {
      {"number", "1"},
      {"uuid", "f1234567-89ab-cdef-0123-456789abcdef"},
      {"uuid-list", "f1234567-89ab-cdef-0123-456789abcdef"},
      {"json", "{\"other\": 1}"},
      {"file", "/f"},
      {"work-item", "CLEANUP"},
  };
  for (const CommandSample& sample : SampleOfEachCommand()) {
    const contract::Command& command = *sample.command;
    const std::vector<std::string> bare = {command.word};
    for (const contract::Option& option : contract::Get().options) {
      if (option.letter == 'h' || option.letter == 's') {
        continue;
      }
      std::vector<std::string> value = {std::string("-") + option.letter};
      if (option.type != "none") {
        value.push_back(values.at(option.type));
      }
      // With the example's arguments, or alone: one option may satisfy a check as another does.
      bool heeded = Shown(sample.words, value) != Shown(sample.words) ||
                    (command.check != "none" && Shown(bare, value) != Shown(bare));
      if (option.letter == 'o') {  // with -a whatever can be streamed is
        value.insert(value.begin(), "-a");
        heeded = Shown(sample.words, value) != Shown(sample.words, {"-a"});
      }
      EXPECT_EQ(heeded,
                std::count(command.options.begin(), command.options.end(), option.name) != 0)
          << command.word << ", " << option.name;
    }
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

TEST(ContractOfOptions, HasTheLimitOfEach) {
  std::array<bool, 3> found{};
  for (const contract::Option& option : contract::Get().options) {
    const auto isTaken = [&](const std::string& text) {
      return RunInFakeSystem({std::string("-") + option.letter, text}, "").err ==
             "Command string missing\n";
    };
    const auto isLimit = [&](auto limit, auto textOf) {
      EXPECT_TRUE(!limit || (isTaken(textOf(*limit)) && !isTaken(textOf(*limit + 1))))
          << option.name;
      return limit.has_value();
    };
    found[0] |= isLimit(option.most, [](std::uint64_t number) { return std::to_string(number); });
    found[1] |= isLimit(option.bytes, [](std::size_t size) { return std::string(size, 'p'); });
    found[2] |= isLimit(option.entries, UuidList);
  }
  EXPECT_THAT(found, testing::Each(true));
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
