// Command lines through the real binary: the help text, the texts of a refused line in their
// order, POSIXLY_CORRECT, which is the C library's and stays in force, and the path of -s: taken
// byte for byte, from the caller's folder, cut to what an address holds; the last one counts.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "core/frame.h"
#include "tests/cli/replies.h"
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
      {.words = {"log-level", "-a"}, .steps = {ReadRequest{}}, .environment = correct});
  EXPECT_TRUE(SameBytes(standin::EncodeFrame(7, "-a"), level.request));
}

TEST(SocketPath, WithoutADaemonIsReportedWithTheReasonAndWithoutTheHelp) {
  for (const auto& [path, reason] : {std::pair{"/nonexistent/socket", "No such file or directory"},
                                     {"", "Connection refused"}}) {
    EXPECT_TRUE(Ended(RunClientAlone({"-s", path, "stats"}), "",
                      std::string("connect error: ") + reason + "\n", 1));
  }
}

/// Runs `stats` with these options in `folder`, where a daemon listens on `name`.
void ExpectConnects(const TempFolder& folder, const std::string& name,
                    const std::vector<std::string>& options) {
  SCOPED_TRACE(testing::PrintToString(name));
  ScriptedDaemon daemon(folder / name, {ReadRequest{}, SendBytes{"text"}});
  ProcessSetup setup{.arguments = {"trel-tool", "stats"},
                     .program = ClientPath(),
                     .prepare = [here = folder / ""] { (void)!chdir(here.c_str()); }};
  setup.arguments.insert(setup.arguments.end(), options.begin(), options.end());
  const ProcessResult run = RunProcess(setup);
  EXPECT_TRUE(Ended(run, "text", "", 0));
  EXPECT_TRUE(daemon.WasCalled());
}

TEST(SocketPath, IsTakenByteForByte) {
  // No abstract name, no line end cut off, no decoding, no blanks stripped, no variable.
  for (const std::string name : {"@socket", "line\n", "\xff\xfe\x80", " s ", "~", "$HOME", "-"}) {
    const TempFolder folder;
    ExpectConnects(folder, name, {"-s", name});
    ExpectConnects(folder, name + "2", {"-s", folder / (name + "2")});
  }
}

TEST(SocketPath, IsCutToItsFirst107Bytes) {
  const TempFolder folder;
  std::string name(107 - (folder / "").size(), 'p');
  ExpectConnects(folder, name, {"-s", folder / (name + "and more")});
}

TEST(SocketPath, IsTheLastOneGiven) {
  const TempFolder folder;
  ExpectConnects(folder, "last", {"-s", folder / "first", "--socket-path=last"});
}

}  // namespace
}  // namespace tests
