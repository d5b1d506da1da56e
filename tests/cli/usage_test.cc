// The help text through the real binary, and what becomes of a refused command line: its
// texts in their order, and that nothing ever connects.

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "support/client.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";

std::string UsageFor(const std::string& name) {
  const std::string mark = "@NAME@";
  std::string text = ReadFile(TREL_USAGE_TEXT);
  return text.replace(text.find(mark), mark.size(), name);
}

std::string List(std::size_t entries) {
  std::string list = UUID;
  for (std::size_t entry = 1; entry < entries; ++entry) {
    list += "," + UUID;
  }
  return list;
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

TEST(UuidList, BeyondItsCapacityEndsTheProcessWithoutAWord) {
  const ProcessResult run = RunClientAlone({"-l", List(2561), "what-if-upgrade"});
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
}

TEST(CommandLine, AGoodOneIsQuietInEachSpelling) {
  for (const Words& words : {Words{"crawler", "-u", UUID},
                             {"-u", UUID, "crawler"},
                             {"crawler", "--uuid=" + UUID},
                             {"crawler", "--uuid", UUID},
                             {"-au", UUID, "crawler"},
                             {"-a", "--", "crawler", "-z"}}) {
    const ClientResult run = RunClientAgainst(
        {.words = words,
         .steps = {standin::ReadRequest{}, standin::SendBytes{std::string(8, '\0')}}});
    EXPECT_EQ(run.exitValue, 0);
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_EQ(run.request.size(), 44U);
  }
}

}  // namespace
}  // namespace tests
