// Standard output and standard error on a terminal: a stream's lines are seen as they
// come, and nothing is coloured, replaced or left out.

#include "tests/cli/terminal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::Call;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

/// Every byte but zero and the line end.
std::string EveryByte() {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    bytes += byte != '\n' ? std::string(1, static_cast<char>(byte)) : "";
  }
  return bytes;
}

TEST(ClientOnATerminal, ShowsEachLineOfAStreamBeforeTheNextIsSent) {
  const Terminal terminal;
  std::vector<std::string> seen;
  std::vector<Step> steps = {ReadRequest{}};
  for (const char* line : {"first\n", "second\n"}) {
    steps.emplace_back(SendBytes{line});
    steps.emplace_back(Call{[&](int /*connection*/) { seen.push_back(terminal.ReadLine()); }});
  }
  const ClientResult run = RunClientAgainst(
      {.words = {"stats"}, .steps = steps, .prepare = [&] { dup2(terminal.Theirs(), 1); }});
  EXPECT_EQ(seen, (std::vector<std::string>{"first\n", "second\n"}));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(ClientOnATerminal, PrintsAReplyAsItIs) {
  const Terminal terminal;
  const ClientResult run =
      RunClientAgainst({.words = {PRINTING},
                        .steps = {ReadRequest{}, SendBytes{Frame("00000000", EveryByte())}},
                        .prepare = [&] { dup2(terminal.Theirs(), 1); }});
  EXPECT_TRUE(SameBytes(EveryByte() + "\n", terminal.ReadLine()));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(ClientOnATerminal, ReportsAnErrorTextAsItIs) {
  const Terminal terminal;
  const std::vector<Step> steps = {ReadRequest{}, SendBytes{Frame("00000005", EveryByte())}};
  const std::string report = "Error received: Unknown status 0x00000005: " + EveryByte() + "\n";
  const ClientResult shown = RunClientAgainst(
      {.words = {PRINTING}, .steps = steps, .prepare = [&] { dup2(terminal.Theirs(), 2); }});
  EXPECT_TRUE(SameBytes(report, terminal.ReadLine()));
  EXPECT_EQ(shown.exitValue, 5);
  const ClientResult piped = RunClientAgainst({.words = {PRINTING}, .steps = steps});
  EXPECT_TRUE(SameBytes(report, piped.err));
}

}  // namespace
}  // namespace tests
