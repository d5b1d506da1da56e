// The path of -s: taken byte for byte, from the caller's folder, cut to what an address
// holds; the last one given counts. And what is said when no daemon listens there.

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/cli/replies.h"
#include "tests/support/scripted_daemon.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;

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
