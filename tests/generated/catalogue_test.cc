// The installed catalogue tells the truth: each command is run and compared with what
// it says of codes, sizes, reply modes and of the options that make a difference.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "core/frame.h"
#include "support/client.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using nlohmann::json;
using standin::EncodeFrame;
using standin::ReadRequest;
using standin::SendBytes;
using Words = std::vector<std::string>;

constexpr char UUID[] = "01234567-89ab-cdef-0123-456789abcdef";
constexpr char OTHER_UUID[] = "f1234567-89ab-cdef-0123-456789abcdef";

const json& Catalogue() {
  static const json CATALOGUE = json::parse(std::ifstream(TREL_CATALOGUE));
  return CATALOGUE;
}

/// What satisfies the check, which is named as the catalogue does.
Words WordsFor(const std::string& check) {
  static const std::map<std::string, Words> WORDS = {
      {"none", {}},
      {"uuid-or-all", {"-u", UUID}},
      {"uuid-list", {"-l", UUID}},
      {"json", {"-j", "{}"}},
      {"log-level", {"2"}},
      {"recovery-target", {"-m", "3"}},
      {"work-item", {"-i", "MOVE"}},
      {"callback-words", {"update"}},
      {"move-lists", {"-u", UUID, "-n", UUID}},
      {"exclusion-list", {"-x", UUID}},
  };
  return WORDS.at(check);
}

/// The option with a value that no other run of these tests gives it.
Words OptionWords(const std::string& letter, const std::string& argument) {
  static const std::map<std::string, std::string> VALUES = {
      {"number", "1"},        {"uuid", OTHER_UUID}, {"uuid-list", OTHER_UUID},
      {"json", "{\"a\": 1}"}, {"file", "/f"},       {"work-item", "CLEANUP"},
  };
  if (argument == "none") {
    return {"-" + letter};
  }
  return {"-" + letter, VALUES.at(argument)};
}

Words Joined(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

class CatalogueCommand : public testing::TestWithParam<int> {
 protected:
  const json& command_ = Catalogue().at("commands").at(static_cast<std::size_t>(GetParam()));

  [[nodiscard]] ClientResult Run(const Words& words, const std::string& answer) const {
    return RunClientAgainst({.words = Joined({command_.at("word")}, words),
                             .steps = {ReadRequest{}, SendBytes{answer}}});
  }

  [[nodiscard]] Words Accepted() const { return WordsFor(command_.at("check")); }

  /// All that a run shows. -h, -s and -o are not among the options tried with it.
  [[nodiscard]] auto Shown(const Words& words) const {
    const ClientResult run = Run(words, EncodeFrame(0, "text"));
    return std::tuple(run.called, run.request, run.out, run.err, run.exitValue);
  }

  /// Whether -o, which only a streamed reply heeds, makes a file.
  [[nodiscard]] bool MakesFile() const {
    const TempFolder folder;
    (void)Run(Joined(Accepted(), {"-a", "-o", folder / "f"}), "text");
    return std::filesystem::exists(folder / "f");
  }
};

TEST_P(CatalogueCommand, SendsTheCodeAndASizeWithinTheBounds) {
  const ClientResult run = Run(Accepted(), EncodeFrame(0, ""));
  ASSERT_GE(run.request.size(), standin::HEADER_SIZE);
  EXPECT_EQ(standin::DecodeHeader(run.request).word, command_.at("code"));
  const json& bytes = command_.at("payloadBytes");
  const std::size_t size = run.request.size() - standin::HEADER_SIZE;
  EXPECT_GE(size, bytes.at("least"));
  if (!bytes.at("most").is_null()) {
    EXPECT_LE(size, bytes.at("most"));
  }
}

TEST_P(CatalogueCommand, TreatsTheReplyAsItsModeSays) {
  const json& reply = command_.at("reply");
  const std::map<std::string, std::tuple<std::string, int>> shown = {
      {"stream", {"abc", 0}}, {"print", {"text\n", 5}}, {"silent", {"", 5}}, {"none", {"", 0}}};
  const auto expectMode = [&](const std::string& mode, const Words& words) {
    const auto& [out, exitValue] = shown.at(mode);
    const std::string good = mode == "stream" ? "abc" : EncodeFrame(0, "text");
    EXPECT_EQ(Run(words, good).out, out) << mode;
    EXPECT_EQ(Run(words, EncodeFrame(5, "bad")).exitValue, exitValue) << mode;
  };
  expectMode(reply.at("mode"), Accepted());
  expectMode(reply.value("modeWithAll", reply.at("mode")), Joined(Accepted(), {"-a"}));
}

TEST_P(CatalogueCommand, HeedsTheOptionsThatItNamesAndNoOther) {
  const auto plain = Shown(Accepted());
  const auto bare = Shown({});
  for (const json& option : Catalogue().at("options")) {
    const std::string letter = option.at("letter");
    if (letter == "h" || letter == "s") {
      continue;
    }
    const Words words = OptionWords(letter, option.at("argument"));
    // Alone for an option that satisfies the check as another one does.
    const bool heeded = letter == "o"
                            ? MakesFile()
                            : Shown(Joined(Accepted(), words)) != plain ||
                                  (command_.at("check") != "none" && Shown(words) != bare);
    const json& named = command_.at("options");
    EXPECT_EQ(heeded, std::find(named.begin(), named.end(), option.at("name")) != named.end())
        << "-" << letter;
  }
}

INSTANTIATE_TEST_SUITE_P(All, CatalogueCommand, testing::Range(0, 37), [](const auto& param) {
  return "Code" + std::to_string(param.param + 1);
});

TEST(Catalogue, NumbersOfWorkItemsAreThoseSent) {
  for (const json& item : Catalogue().at("workItems")) {
    const std::string name = item.at("name");
    const ClientResult run =
        RunClientAgainst({.words = {"enable-workitem", "-i", name},
                          .steps = {ReadRequest{}, SendBytes{EncodeFrame(0, "")}}});
    const std::string number = std::to_string(item.at("number").get<int>());
    EXPECT_EQ(run.request.substr(standin::HEADER_SIZE, number.size() + 1), number + '\0') << name;
  }
}

}  // namespace
}  // namespace tests
