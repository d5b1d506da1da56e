// The contract holds of the real binary: each example's bytes and reply mode, the help
// text, the diagnostics.

#include "contract/contract.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/command_samples.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using standin::EncodeFrame;

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
    const contract::Option* option = contract::Get().OptionOfName(diagnostic.option);
    const bool isOfOption = diagnostic.check.empty() && diagnostic.args.size() == 2;
    EXPECT_EQ(option != nullptr ? std::string("-") + option->letter : "",
              isOfOption ? diagnostic.args[0] : "");
  }
}

}  // namespace
}  // namespace tests
