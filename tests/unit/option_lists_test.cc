// The options with UUIDs and UUID lists: what is accepted, what the record then holds.

#include <gtest/gtest.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "client/options.h"
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

std::string Bytes(const Uuid& uuid) { return {uuid.begin(), uuid.end()}; }

// --- UUIDs -----------------------------------------------------------------------

TEST(ParseOptions, AUuidIsStoredAsFarAsItGoes) {
  struct Case {
    std::vector<std::string> words;
    const char* bytes;
  };
  for (const Case& uuid : std::initializer_list<Case>{
           {{"-u", "01234567-89AB-cdef-fedc-ba9876543210"}, "01234567 89abcdef fedcba98 76543210"},
           {{"-u", "01234567-89ab-cdef-fedc-ba9876543210-and-more"},
            "01234567 89abcdef fedcba98 76543210"},
           {{"-u", "01234567-89ab-cdef"}, "01234567 89abcdef 00000000 00000000"},
           {{"-u", "11111111-1111-1111-1111-111111111111", "-u", "22222222-2222-2222-22"},
            "22222222 22222222 22111111 11111111"}}) {
    const Parsed parsed = Parse(uuid.words);
    ASSERT_TRUE(Accepts(parsed));
    EXPECT_TRUE(parsed.options->uuidGiven);
    EXPECT_EQ(Bytes(parsed.options->uuid), tests::FromHex(uuid.bytes));
  }
}

TEST(ParseOptions, AUuidWithTooFewFieldsIsRefusedWithTheirNumber) {
  struct Case {
    const char* text;
    int fields;
  };
  for (const Case& uuid : std::initializer_list<Case>{{"0123456", 4},
                                                      {"", -1},
                                                      {"   ", -1},
                                                      {"zz", 0},
                                                      {"-", 0},
                                                      {"0", 1},
                                                      {"01234567", 4},
                                                      {"0123456789abcdef", 4},
                                                      {"01234567-89ab", 6},
                                                      {"01234567-89ab-cd", 7},
                                                      {"01234567-89ab-cdxx", 7},
                                                      {"%n%s", 0}}) {
    const Parsed parsed = Parse({"-u", uuid.text});
    EXPECT_TRUE(RefusedWith("Failed to parse UUID: " + std::string(uuid.text) +
                                ", length=" + std::to_string(uuid.fields) + "\n",
                            parsed));
    EXPECT_FALSE(parsed.options->uuidGiven);
    EXPECT_EQ(parsed.options->recoveryTargetCount, 0U);
  }
}

TEST(ParseOptions, EveryUuidAndRecoveryModeCountsAsATarget) {
  const char* uuid = "01234567-89ab-cdef-fedc-ba9876543210";
  EXPECT_EQ(Parse({"-u", uuid, "-u", uuid}).options->recoveryTargetCount, 2U);
  EXPECT_EQ(Parse({"-m", "3", "-m", "3"}).options->recoveryTargetCount, 2U);
  EXPECT_EQ(Parse({"-m", "0", "-u", uuid, "-m", "1"}).options->recoveryTargetCount, 3U);
}

// --- lists -----------------------------------------------------------------------

TEST(ParseOptions, UuidListAcceptsUpTo2560EntriesWhateverTheyHold) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-l", std::string(36, '%')},
        {"-l", UuidList(2560)},
        {"-l", UuidList(3), "-l", std::string(36, 'x')}}) {
    const Parsed parsed = Parse(words);
    ASSERT_TRUE(Accepts(parsed));
    EXPECT_TRUE(parsed.options->uuidListGiven);
    EXPECT_EQ(parsed.options.requests->upgradeWhatIf.uuidList.data(), words.back());
  }
}

TEST(ParseOptions, UuidListRefusesAnyOtherLength) {
  for (const std::size_t length : {0U, 1U, 35U, 37U, 38U, 72U, 74U}) {
    const std::string text(length, 'u');
    const Parsed parsed = Parse({"-l", text});
    EXPECT_TRUE(RefusedWith("Invalid UUID: " + text + "\n", parsed)) << length;
    EXPECT_FALSE(parsed.options->uuidListGiven);
  }
}

TEST_F(ParseOptionsDeathTest, UuidListOf2561EntriesAbortsWithoutAWord) {
  EXPECT_EXIT(
      {
        CommandLine line({"-l", UuidList(2561)});
        const Options options;
        (void)ParseOptions(line.Count(), line.Vector(), *options);
      },
      testing::KilledBySignal(SIGABRT), "^$");
}

/// -n and -x differ in their fields and in one message.
struct MoveListOption {
  const char* option;
  char* ClientOptions::*list;
  bool ClientOptions::*given;
  const char* tooLong;
};

void PrintTo(const MoveListOption& row, std::ostream* out) { *out << row.option; }

class MoveList : public testing::TestWithParam<MoveListOption> {};

INSTANTIATE_TEST_SUITE_P(
    Both, MoveList,
    testing::Values(MoveListOption{"-n", &ClientOptions::destinationList,
                                   &ClientOptions::destinationListGiven,
                                   "Destination list is longer than max limit\n"},
                    MoveListOption{"-x", &ClientOptions::exclusionList,
                                   &ClientOptions::exclusionListGiven,
                                   "Exclusion list is longer than max limit\n"}),
    [](const auto& row) { return row.param.option[1] == 'n' ? "Destination" : "Exclusion"; });

TEST_P(MoveList, AcceptsAnEmptyText) {
  const Parsed parsed = Parse({GetParam().option, ""});
  ASSERT_TRUE(Accepts(parsed));
  EXPECT_TRUE((*parsed.options).*GetParam().given);
  EXPECT_STREQ((*parsed.options).*GetParam().list, "");
}

TEST_P(MoveList, AcceptsUpTo2559Entries) {
  for (const std::size_t entries : {1U, 2U, 2559U}) {
    const Parsed parsed = Parse({GetParam().option, UuidList(entries)});
    ASSERT_TRUE(Accepts(parsed)) << entries;
    EXPECT_TRUE((*parsed.options).*GetParam().given);
    EXPECT_EQ((*parsed.options).*GetParam().list, UuidList(entries));
  }
}

TEST_P(MoveList, Refuses2560EntriesWithItsOwnMessage) {
  for (const std::size_t entries : {2560U, 2561U, 3000U}) {
    const Parsed parsed = Parse({GetParam().option, UuidList(entries)});
    EXPECT_TRUE(RefusedWith(GetParam().tooLong, parsed)) << entries;
    EXPECT_FALSE((*parsed.options).*GetParam().given);
  }
}

TEST_P(MoveList, RefusesAnyOtherLengthAsAnInvalidUuid) {
  for (const std::size_t length : {1U, 35U, 37U, 72U, 74U, 94718U, 94720U}) {
    const std::string text(length, 'u');
    EXPECT_TRUE(RefusedWith("Invalid UUID: " + text + "\n", Parse({GetParam().option, text})))
        << length;
  }
}

TEST_P(MoveList, ALaterTextReplacesALongerOne) {
  const Parsed parsed = Parse({GetParam().option, UuidList(2), GetParam().option, ""});
  ASSERT_TRUE(Accepts(parsed));
  EXPECT_STREQ((*parsed.options).*GetParam().list, "");
  EXPECT_TRUE((*parsed.options).*GetParam().given);
}

}  // namespace
}  // namespace trel
