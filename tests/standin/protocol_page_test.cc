// The examples of docs/protocol.md are what the client really sends.

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "support/bytes.h"
#include "support/client.h"
#include "support/markdown.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

struct Example {
  std::vector<std::string> words;  ///< behind the program's name
  std::string bytes;
};

/// Words as a shell splits them; of its quotes only the single ones.
std::vector<std::string> SplitWords(const std::string& line) {
  std::vector<std::string> words(1);
  bool quoted = false;
  for (const char character : line) {
    if (character == '\'') {
      quoted = !quoted;
    } else if (character == ' ' && !quoted) {
      words.emplace_back();
    } else {
      words.back().push_back(character);
    }
  }
  return words;
}

/// The bytes of a dump as the page defines it: "*" stands for repetitions of the
/// row above, the last line holds nothing but the length.
std::string ReadDump(std::istream& lines) {
  std::string bytes;
  std::string row;
  for (std::string line; std::getline(lines, line);) {
    if (line == "*") {
      continue;
    }
    const std::size_t offset = std::stoul(line.substr(0, 6), nullptr, 16);
    while (bytes.size() < offset && !row.empty()) {
      bytes += row;
    }
    EXPECT_EQ(bytes.size(), offset) << line;
    row = FromHex(line.substr(6));
    bytes += row;
  }
  return bytes;
}

std::vector<Example> Examples() {
  std::vector<Example> examples;
  const std::string page = ReadFile(TREL_SOURCE_DIR "/docs/protocol.md");
  for (const std::string& block : CodeBlocks(page, "text")) {
    std::istringstream lines(block);
    std::string command;
    std::getline(lines, command);
    const std::string prompt = "$ trel-tool ";
    if (command.rfind(prompt, 0) == 0) {
      examples.push_back({SplitWords(command.substr(prompt.size())), ReadDump(lines)});
    }
  }
  return examples;
}

TEST(ProtocolPage, ShowsWhatTheClientSends) {
  for (const Example& example : Examples()) {
    const ClientResult run =
        RunClientAgainst({.words = example.words, .steps = {standin::ReadRequest{}}});
    EXPECT_TRUE(SameBytes(example.bytes, run.request)) << example.words[0];
  }
}

TEST(ProtocolPage, HasAnExampleOfEachCommand) {
  std::set<std::string> codes;
  for (const Example& example : Examples()) {
    codes.insert(example.bytes.substr(0, 4));
  }
  EXPECT_EQ(codes.size(), 37U);
}

}  // namespace
}  // namespace tests
