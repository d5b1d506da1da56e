// The help text through the real binary, and what becomes of a refused command line: its
// texts in their order, and that nothing ever connects. POSIXLY_CORRECT is the C library's
// and stays in force.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

std::string UsageFor(const std::string& name) {
  const std::string mark = "@NAME@";
  std::string text = ReadFile(TREL_USAGE_TEXT);
  return text.replace(text.find(mark), mark.size(), name);
}

TEST(Help, IsTheFixedTextWithExitValueZero) {
  for (const Words& words :
       {Words{"-h"}, {"--help"}, {"--he"}, {"stats", "-h"}, {"-ah"}, {"-h", "-X", "5"}}) {
    EXPECT_TRUE(Ended(RunClientAlone(words), UsageFor("trel-tool"), "", 0));
  }
}

TEST(Help, NamesTheProgramAsInvoked) {
  const ProcessResult run =
      RunProcess({.arguments = {"/some/where/else %s", "-h"}, .program = ClientPath()});
  EXPECT_EQ(run.out, UsageFor("/some/where/else %s"));
  EXPECT_EQ(run.exitValue, 0);
}

TEST(NoWords, PrintTheHelpAloneAndFail) {
  EXPECT_TRUE(Ended(RunClientAlone({}), UsageFor("trel-tool"), "", 1));
}

TEST(RefusedLine, NeverReachesADaemon) {
  for (const Words& words :
       {Words{"crawler"}, {"nosuch"}, {"-X", "4", "stats"}, {"stats", "-z"}, {"-h"}}) {
    const ClientResult run = RunClientAgainst({.words = words});
    EXPECT_FALSE(run.called) << words[0];
  }
}

TEST(RefusedLine, BothTextsReachOneFileInOrder) {
  const TempFolder folder;
  const std::string path = folder / "both";
  const ProcessResult run =
      RunProcess({.arguments = {"bash", "-c", "exec -a trel-tool \"$0\" nosuch >\"$1\" 2>&1",
                                ClientPath(), path},
                  .program = "/bin/bash"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(ReadFile(path), "Unrecognized command: nosuch\n" + UsageFor("trel-tool"));
}

TEST(PosixlyCorrect, EndsTheOptionsAtTheCommandWord) {
  const Words correct = {"POSIXLY_CORRECT=1"};
  const ClientResult refused =
      RunClientAgainst({.words = {"crawler", "-u", UUID}, .environment = correct});
  EXPECT_EQ(refused.err, "UUID must be provided (specify with --uuid)\n");
  EXPECT_EQ(refused.exitValue, 1);
  // What looks like an option is a positional word then.
  const ClientResult level = RunClientAgainst(
      {.words = {"log-level", "-a"}, .steps = {standin::ReadRequest{}}, .environment = correct});
  EXPECT_TRUE(SameBytes(standin::EncodeFrame(7, "-a"), level.request));
}

}  // namespace
}  // namespace tests
