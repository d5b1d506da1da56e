// The option parser: what is accepted, what is refused, what the record then holds.

#include "client/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

#include "support/bytes.h"
#include "unit/command_line.h"
#include "unit/parsed_options.h"

namespace trel {
namespace {

using tests::Accepts;
using tests::CommandLine;
using tests::Options;
using tests::Parse;
using tests::Parsed;
using tests::RefusedWith;
using tests::UuidList;
using ParseOptionsDeathTest = testing::Test;

constexpr char BEYOND_64_BITS[] = "99999999999999999999";

/// A text whose terminator is the last byte that may be read.
class GuardedText {
 public:
  explicit GuardedText(const std::string& text)
      : pages_((text.size() / PAGE + 1) * PAGE),
        memory_(static_cast<char*>(mmap(nullptr, pages_ + PAGE, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    EXPECT_NE(memory_, MAP_FAILED);
    EXPECT_EQ(mprotect(memory_ + pages_, PAGE, PROT_NONE), 0);
    text_ = memory_ + pages_ - text.size() - 1;
    std::memcpy(text_, text.c_str(), text.size() + 1);
  }
  ~GuardedText() { munmap(memory_, pages_ + PAGE); }
  GuardedText(const GuardedText&) = delete;
  GuardedText& operator=(const GuardedText&) = delete;

  [[nodiscard]] char* Get() const { return text_; }

 private:
  static constexpr std::size_t PAGE = 4096;
  std::size_t pages_;
  char* memory_;
  char* text_ = nullptr;
};

// --- defaults and single options -------------------------------------------------

TEST(ParseOptions, WithoutOptionsLeavesTheDefaults) {
  const Parsed parsed = Parse({"stats"});
  ASSERT_TRUE(Accepts(parsed));
  const Options& options = parsed.options;
  EXPECT_EQ(parsed.result.wordIndex, 1);
  EXPECT_EQ(options->outputPath, nullptr);
  EXPECT_STREQ(options->socketPath, "/var/run/treld.uds");
  EXPECT_EQ(std::string(options->uuid.begin(), options->uuid.end()), std::string(16, '\0'));
  EXPECT_FALSE(options->uuidGiven);
  EXPECT_STREQ(options.requests->upgradeWhatIf.uuidList.data(), "");
  EXPECT_FALSE(options->uuidListGiven);
  EXPECT_EQ(options->json, nullptr);
  EXPECT_FALSE(options->jsonGiven);
  EXPECT_EQ(std::string(options->filePath.begin(), options->filePath.end()),
            std::string(4097, '\0'));
  EXPECT_EQ(options->decomMode, 0U);
  EXPECT_FALSE(options->ensureDurability);
  EXPECT_EQ(options->reason, 0U);
  EXPECT_EQ(options->workItem, NO_WORK_ITEM);
  EXPECT_EQ(options->recoveryMode, 0U);
  EXPECT_FALSE(options->wipeDisk);
  EXPECT_EQ(options->all, 0);
  EXPECT_STREQ(options->destinationList, "");
  EXPECT_FALSE(options->destinationListGiven);
  EXPECT_STREQ(options->exclusionList, "");
  EXPECT_FALSE(options->exclusionListGiven);
  EXPECT_EQ(options->exclusionMode, 0U);
  EXPECT_EQ(options->recoveryTargetCount, 0U);
  EXPECT_EQ(options->rebalanceParams.timeSpan, 86400U);
  EXPECT_EQ(options->rebalanceParams.varianceThreshold, 0.3);
  EXPECT_EQ(options->rebalanceParams.timeThreshold, 1800U);
  EXPECT_EQ(options->rebalanceParams.rateThreshold, 14913081U);
  EXPECT_EQ(options->commandArgIndex, 0);
  EXPECT_EQ(options->longOptionIndex, 1);
}

TEST(ParseOptions, HelpEndsParsingWhereverItIsMet) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-h"}, {"--help"}, {"stats", "-h"}, {"-ah"}, {"-h", "-X", "5"}}) {
    const Parsed parsed = Parse(words);
    EXPECT_TRUE(parsed.result.helpAsked);
    EXPECT_EQ(parsed.message, "");
  }
}

TEST(ParseOptions, OutputAndSocketPathReferToTheArgument) {
  CommandLine line({"-o", "/out", "-s", "/sock"});
  const Options options;
  EXPECT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
  EXPECT_EQ(options->outputPath, line.Vector()[2]);
  EXPECT_EQ(options->socketPath, line.Vector()[4]);
}

TEST(ParseOptions, JsonIsCopiedAndMayBeEmpty) {
  for (const char* text : {"{\"a\": \"%n%s\"}", ""}) {
    const Parsed parsed = Parse({"-j", text});
    ASSERT_TRUE(Accepts(parsed));
    EXPECT_TRUE(parsed.options->jsonGiven);
    EXPECT_STREQ(parsed.options->json, text);
    std::free(parsed.options->json);
  }
}

TEST(ParseOptions, FlagsAreSetAndStaySet) {
  const Parsed parsed = Parse({"-e", "-w", "-a", "-e", "-w", "-a"});
  ASSERT_TRUE(Accepts(parsed));
  EXPECT_TRUE(parsed.options->ensureDurability);
  EXPECT_TRUE(parsed.options->wipeDisk);
  EXPECT_EQ(parsed.options->all, 1);
}

// --- numbers ---------------------------------------------------------------------

struct NumberCase {
  const char* text;
  std::uint32_t value;
};

/// What every number option makes of a text, as far as its range admits it.
const std::vector<NumberCase> NUMBERS = {{"0", 0},
                                         {"1", 1},
                                         {"  7", 7},
                                         {"+7", 7},
                                         {"7x", 7},
                                         {"abc", 0},
                                         {"", 0},
                                         {"0x10", 0},
                                         {"4294967295", 4294967295},
                                         {"4294967296", 0},
                                         {"4294967297", 1},
                                         {"-1", 4294967295},
                                         {"-4294967295", 1},
                                         {"18446744073709551615", 4294967295}};

TEST(ParseOptions, ANumberIsCutTo32BitsAndTheTimeoutForgotten) {
  for (const NumberCase& number : NUMBERS) {
    const Parsed parsed = Parse({"-d", number.text, "-r", number.text, "-t", number.text});
    ASSERT_TRUE(Accepts(parsed)) << number.text;
    EXPECT_EQ(parsed.options->decomMode, number.value) << number.text;
    EXPECT_EQ(parsed.options->reason, number.value) << number.text;
  }
}

TEST(ParseOptions, RecoveryModeTakes0To7AfterTheCut) {
  for (const NumberCase& number : NUMBERS) {
    const Parsed parsed = Parse({"-m", number.text});
    if (number.value <= 7) {
      ASSERT_TRUE(Accepts(parsed)) << number.text;
      EXPECT_EQ(parsed.options->recoveryMode, number.value) << number.text;
      EXPECT_EQ(parsed.options->recoveryTargetCount, 1U) << number.text;
    } else {
      EXPECT_TRUE(
          RefusedWith("Failed to parse recoveryMode: " + std::string(number.text) + "\n", parsed));
      EXPECT_EQ(parsed.options->recoveryTargetCount, 0U) << number.text;
    }
  }
  EXPECT_TRUE(Accepts(Parse({"-m", "7"})));
  EXPECT_TRUE(RefusedWith("Failed to parse recoveryMode: 8\n", Parse({"-m", "8"})));
}

TEST(ParseOptions, ExclusionModeTakes0To3AfterTheCut) {
  for (const char* text : {"0", "1", "2", "3", "4294967299", "-4294967293"}) {
    EXPECT_TRUE(Accepts(Parse({"-X", text}))) << text;
  }
  EXPECT_EQ(Parse({"-X", "4294967299"}).options->exclusionMode, 3U);
  EXPECT_EQ(Parse({"-X", "2"}).options->exclusionMode, 2U);
  EXPECT_TRUE(RefusedWith("Invalid exclusion mode: 4\n", Parse({"-X", "4"})));
  EXPECT_TRUE(RefusedWith("Invalid exclusion mode: -1\n", Parse({"-X", "-1"})));
  EXPECT_TRUE(RefusedWith("Invalid exclusion mode: 2147483647\n", Parse({"-X", "2147483647"})));
  EXPECT_TRUE(RefusedWith("Invalid exclusion mode: -2147483648\n", Parse({"-X", "2147483648"})));
}

TEST(ParseOptions, ANumberBeyond64BitsIsRefusedWithTheOptionsOwnWords) {
  for (const auto& [option, message] : std::initializer_list<std::pair<const char*, const char*>>{
           {"-t", "Failed to parse wait timeout: "},
           {"-d", "Failed to parse decomMode: "},
           {"-r", "Failed to parse reason: "},
           {"-m", "Failed to parse recoveryMode: "},
           {"-X", "Failed to parse exclusion mode: "}}) {
    for (const char* text : {"18446744073709551616", BEYOND_64_BITS, "-99999999999999999999",
                             "18446744073709551616x"}) {
      EXPECT_TRUE(RefusedWith(message + std::string(text) + "\n", Parse({option, text})));
    }
  }
}

TEST(ParseOptions, AStaleErrnoDoesNotRefuseANumber) {
  errno = ERANGE;
  EXPECT_TRUE(Accepts(Parse({"-d", "1", "-r", "1", "-t", "1", "-m", "1", "-X", "1"})));
}

// --- path and work items ---------------------------------------------------------

TEST(ParseOptions, FilePathAdmits4096Characters) {
  const std::string path(4096, 'p');
  const Parsed parsed = Parse({"-f", path});
  ASSERT_TRUE(Accepts(parsed));
  EXPECT_EQ(parsed.options->filePath.data(), path);
  EXPECT_TRUE(
      RefusedWith("File path is longer than the max path length", Parse({"-f", path + "p"})));
}

TEST(ParseOptions, ALaterFilePathLeavesTheTailOfALongerOne) {
  EXPECT_STREQ(Parse({"-f", "/tmp/abcdef", "-f", "/x"}).options->filePath.data(), "/xmp/abcdef");
  EXPECT_STREQ(Parse({"-f", "/tmp/abcdef", "-f", ""}).options->filePath.data(), "/tmp/abcdef");
  EXPECT_STREQ(Parse({"-f", "/x", "-f", "/tmp/abcdef"}).options->filePath.data(), "/tmp/abcdef");
}

TEST(ParseOptions, AnyOtherWorkItemNameIsRefused) {
  for (const char* name : {"move", "MOV", "MOVES", "", "4", "NONE", " MOVE", "%n%s"}) {
    const Parsed parsed = Parse({"-i", name});
    EXPECT_TRUE(RefusedWith("Invalid work-item type name: " + std::string(name) + "\n", parsed));
    EXPECT_EQ(parsed.options->workItem, NO_WORK_ITEM);
  }
}

// --- repetition, order, the C library's ways -------------------------------------

TEST(ParseOptions, TheLastValueWins) {
  CommandLine line({"-o", "a", "-s", "b",    "-d", "1", "-r", "1",    "-m", "1",
                    "-X", "1", "-i", "MOVE", "-o", "c", "-s", "d",    "-d", "2",
                    "-r", "3", "-m", "4",    "-X", "2", "-i", "DECOM"});
  const Options options;
  EXPECT_FALSE(IsError(ParseOptions(line.Count(), line.Vector(), *options).error));
  EXPECT_STREQ(options->outputPath, "c");
  EXPECT_STREQ(options->socketPath, "d");
  EXPECT_EQ(options->decomMode, 2U);
  EXPECT_EQ(options->reason, 3U);
  EXPECT_EQ(options->recoveryMode, 4U);
  EXPECT_EQ(options->exclusionMode, 2U);
  EXPECT_EQ(options->workItem, 9U);
}

TEST(ParseOptions, EndsAtTheFirstFailure) {
  const Parsed parsed = Parse({"-d", "5", "-X", "4", "-d", "6", "-i", "move", "-h"});
  EXPECT_TRUE(RefusedWith("Invalid exclusion mode: 4\n", parsed));
  EXPECT_EQ(parsed.options->decomMode, 5U);
}

TEST(ParseOptions, PutsTheWordsAfterTheOptions) {
  struct Case {
    std::vector<std::string> typed;
    std::vector<std::string> words;
  };
  for (const Case& line :
       std::initializer_list<Case>{{{"log-level", "-d", "3", "2", "-aw"}, {"log-level", "2"}},
                                   {{"-wad3", "--", "-X", "9"}, {"-X", "9"}},
                                   {{"-a", "-w", "--dec", "3"}, {}}}) {
    CommandLine typed(line.typed);
    const Options options;
    const ParseResult result = ParseOptions(typed.Count(), typed.Vector(), *options);
    EXPECT_FALSE(IsError(result.error));
    EXPECT_EQ(
        std::vector<std::string>(typed.Vector() + result.wordIndex, typed.Vector() + typed.Count()),
        line.words);
    EXPECT_EQ(options->decomMode, 3U);
    EXPECT_EQ(options->all, 1);
    EXPECT_TRUE(options->wipeDisk);
    EXPECT_FALSE(options->ensureDurability);
  }
}

TEST(ParseOptions, LongOptionIndexIsThePositionOfTheLastLongOption) {
  const std::string list = UuidList(1);
  const std::vector<std::pair<std::vector<std::string>, int>> rows = {
      {{"-s", "/x", "-a"}, 1},
      {{"--output-path=x"}, 1},
      {{"--socket-path=x"}, 2},
      {{"--sock", "x"}, 2},
      {{"--timeout=1", "-a"}, 3},
      {{"--uuid=" + list}, 4},
      {{"--uuid-list=" + list}, 5},
      {{"--json={}"}, 6},
      {{"--file-path=x"}, 7},
      {{"--decom-mode=1"}, 8},
      {{"--ensure-durability"}, 9},
      {{"--reason=1"}, 10},
      {{"--work-item=MOVE"}, 11},
      {{"--recovery-mode=1"}, 12},
      {{"--wipe-disk"}, 13},
      {{"--all"}, 14},
      {{"--destination-list=" + list}, 15},
      {{"--exclusion-list=" + list}, 16},
      {{"--exclusion-mode=1"}, 17},
      {{"--exclusion-mode=1", "--uuid=" + list, "-X", "2"}, 4}};
  for (const auto& [words, index] : rows) {
    const Parsed parsed = Parse(words);
    EXPECT_TRUE(Accepts(parsed)) << words[0];
    EXPECT_EQ(parsed.options->longOptionIndex, index) << words[0];
    std::free(parsed.options->json);
  }
}

TEST(ParseOptions, LongOptionsTakeTheirArgumentEitherWay) {
  EXPECT_EQ(Parse({"--decom-mode=3"}).options->decomMode, 3U);
  EXPECT_EQ(Parse({"--decom-mode", "3"}).options->decomMode, 3U);
  EXPECT_EQ(Parse({"--decom-mode="}).options->decomMode, 0U);
}

TEST(ParseOptions, LeavesUnknownAndIncompleteOptionsToTheLibrary) {
  for (const auto& [words, text] :
       std::initializer_list<std::pair<std::vector<std::string>, const char*>>{
           {{"-z"}, "trel-tool: invalid option -- 'z'\n"},
           {{"-u"}, "trel-tool: option requires an argument -- 'u'\n"},
           {{"--uuid"}, "trel-tool: option '--uuid' requires an argument\n"},
           {{"--nosuch"}, "trel-tool: unrecognized option '--nosuch'\n"},
           {{"--all=1"}, "trel-tool: option '--all' doesn't allow an argument\n"},
           {{"--exclusion=1"},
            "trel-tool: option '--exclusion=1' is ambiguous; possibilities: "
            "'--exclusion-list' '--exclusion-mode'\n"}}) {
    const Parsed parsed = Parse(words);
    EXPECT_TRUE(IsError(parsed.result.error)) << words[0];
    EXPECT_EQ(parsed.message, "") << words[0];
    EXPECT_EQ(parsed.libraryText, text) << words[0];
  }
}

// --- bounds ----------------------------------------------------------------------

TEST(ParseOptions, ReadsEachTextToItsTerminatorAndNoFurther) {
  const std::string list = UuidList(2);
  for (const auto& [option, text] :
       std::vector<std::pair<std::string, std::string>>{{"-l", list},
                                                        {"-n", list},
                                                        {"-x", list},
                                                        {"-n", ""},
                                                        {"-f", "/tmp/path"},
                                                        {"-j", "{}"},
                                                        {"-u", "01234567-89ab-cdef"},
                                                        {"-m", "7"},
                                                        {"-i", "MOVE"}}) {
    const GuardedText guarded(text);
    CommandLine line({option, "replaced", "stats"});
    line.Vector()[2] = guarded.Get();
    Options options;
    const ParseResult result = ParseOptions(line.Count(), line.Vector(), *options);
    EXPECT_FALSE(IsError(result.error)) << option;
    std::free(options->json);
  }
}

}  // namespace
}  // namespace trel
