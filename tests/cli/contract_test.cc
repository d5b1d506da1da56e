// The contract holds of the real binary: each example's bytes and reply mode, the
// options that a command reads, the help text, the diagnostics.

#include "contract/contract.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <tuple>

#include "core/frame.h"
#include "support/bytes.h"
#include "support/client.h"
#include "support/command_samples.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using standin::EncodeFrame;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;
using Words = std::vector<std::string>;

ClientResult RunClient(const Words& words, const std::string& reply) {
  return RunClientAgainst({.words = words, .steps = {ReadRequest{}, SendBytes{reply}}});
}

class ContractExample : public testing::TestWithParam<CommandSample> {};
INSTANTIATE_TEST_SUITE_P(All, ContractExample, testing::ValuesIn(AllSamples()), SampleName);

TEST_P(ContractExample, SendsItsBytesAndPrintsWhatItsModePrints) {
  const CommandSample& sample = GetParam();
  std::vector<Step> steps = {ReadRequest{}};
  if (sample.mode != ReplyMode::NONE) {
    steps.emplace_back(
        SendBytes{sample.mode == ReplyMode::STREAM ? "text" : EncodeFrame(0, "text")});
  }
  const ClientResult run = RunClientAgainst({.words = sample.words, .steps = steps});
  EXPECT_TRUE(SameBytes(sample.Request(), run.request));
  const std::string out = sample.mode == ReplyMode::PRINT    ? "text\n"
                          : sample.mode == ReplyMode::STREAM ? "text"
                                                             : "";
  EXPECT_TRUE(Ended(run, out, "", 0));
}

class ContractCommand : public testing::TestWithParam<CommandSample> {
 protected:
  /// All that a run of this command shows.
  [[nodiscard]] static auto Shown(const Words& words) {
    const ClientResult run = RunClient(words, EncodeFrame(0, "text"));
    return std::tuple(run.called, run.request, run.out, run.err, run.exitValue);
  }

  [[nodiscard]] static Words With(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  /// The option with a value that no example gives it.
  [[nodiscard]] static Words WithValue(const contract::Option& option) {
    static const std::map<std::string, std::string> VALUES = {
        {"number", "1"},
        {"uuid", "f1234567-89ab-cdef-0123-456789abcdef"},
        {"uuid-list", "f1234567-89ab-cdef-0123-456789abcdef"},
        {"json", "{\"other\": 1}"},
        {"file", "/f"},
        {"work-item", "CLEANUP"},
    };
    const std::string letter = std::string("-") + option.letter;
    return option.type == "none" ? Words{letter} : Words{letter, VALUES.at(option.type)};
  }

  /// Whether -o, which only a streamed reply heeds, makes a file.
  [[nodiscard]] bool MakesFile() const {
    const TempFolder folder;
    (void)RunClient(With(GetParam().words, {"-a", "-o", folder / "f"}), "text");
    return std::filesystem::exists(folder / "f");
  }
};
INSTANTIATE_TEST_SUITE_P(All, ContractCommand, testing::ValuesIn(SampleOfEachCommand()),
                         SampleName);

TEST_P(ContractCommand, ReportsAnErrorIfItsReplyIsFramed) {
  const bool framed = GetParam().IsFramed();
  const ClientResult run = RunClient(GetParam().words, EncodeFrame(5, "why"));
  // As a stream, the frame is text up to its first zero byte: none.
  EXPECT_TRUE(Ended(run, "", framed ? "Error received: Unknown status 0x00000005: why\n" : "",
                    framed ? 5 : 0));
}

TEST_P(ContractCommand, TakesAClosedConnectionForAnEmptySuccess) {
  EXPECT_TRUE(Ended(RunClient(GetParam().words, ""),
                    GetParam().mode == ReplyMode::PRINT ? "\n" : "", "", 0));
}

TEST_P(ContractCommand, HeedsTheOptionsThatItNamesAndNoOther) {
  const CommandSample& sample = GetParam();
  const Words bare = {sample.command->word};
  const auto plain = Shown(sample.words);
  const auto refused = Shown(bare);
  for (const contract::Option& option : contract::Get().options) {
    if (option.letter == 'h' || option.letter == 's') {
      continue;
    }
    // With the example's arguments, or alone: one option may satisfy a check as another does.
    const Words value = WithValue(option);
    const bool heeded = option.letter == 'o' ? MakesFile()
                                             : Shown(With(sample.words, value)) != plain ||
                                                   (sample.command->check != "none" &&
                                                    Shown(With(bare, value)) != refused);
    const Words& named = sample.command->options;
    EXPECT_EQ(heeded, std::find(named.begin(), named.end(), option.name) != named.end())
        << option.name;
  }
}

TEST(Contract, HelpTextIsTheLiteralOne) {
  std::string text = "usage: @NAME@ <options> <cmd> <args>\n\ncommands:\n";
  for (const contract::Command& command : contract::Get().commands) {
    text += command.listed ? "   " + command.word + "\t\t" + command.help + "\n" : "";
  }
  text += "\noptions:\n";
  for (const char letter : contract::Get().helpOrder) {
    const auto& options = contract::Get().options;
    text += std::find_if(options.begin(), options.end(), [&](const contract::Option& option) {
              return option.letter == letter;
            })->help;
    text += "\n";
  }
  EXPECT_EQ(text, ReadFile(TREL_USAGE_TEXT));
}

/// The format as a regular expression: each conversion is what may stand there.
std::string PatternOf(const std::string& format) {
  std::string pattern;
  for (std::size_t index = 0; index < format.size(); ++index) {
    if (format.compare(index, 2, "%s") == 0) {
      pattern += "[^\n]*";
      ++index;
    } else if (format.compare(index, 2, "%d") == 0) {
      pattern += "-?[0-9]+";
      ++index;
    } else {
      pattern +=
          (std::string_view(".()").find(format[index]) != std::string_view::npos ? "\\" : "");
      pattern += format[index];
    }
  }
  return pattern;
}

TEST(Contract, DiagnosticsAreThoseOfTheirCommandLines) {
  for (const contract::Diagnostic& diagnostic : contract::Get().diagnostics) {
    if (diagnostic.args.empty()) {
      EXPECT_EQ(diagnostic.option + diagnostic.check, "") << diagnostic.text;
      continue;
    }
    const ProcessResult run = RunClientAlone(diagnostic.args);
    EXPECT_THAT(run.err, testing::MatchesRegex(PatternOf(diagnostic.text)));
    EXPECT_EQ(std::to_string(run.exitValue), diagnostic.exit) << diagnostic.text;
  }
}

}  // namespace
}  // namespace tests
