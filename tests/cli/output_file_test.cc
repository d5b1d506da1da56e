// What -o may point at, and what becomes of it: the file is opened where and as the
// caller says, created by the caller's umask, truncated, never replaced.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

#include "tests/cli/replies.h"
#include "tests/cli/terminal.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

mode_t ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777; }

class OutputFile : public testing::Test {
 protected:
  /// Runs `stats` with these options in the test's folder; the daemon streams `text`.
  [[nodiscard]] ClientResult Run(std::vector<std::string> options, const std::string& text = "new",
                                 const std::function<void()>& prepare = {}) const {
    options.emplace(options.begin(), "stats");
    return RunClientAgainst({.words = std::move(options),
                             .steps = {ReadRequest{}, SendBytes{text}},
                             .prepare = [here = folder_ / "", prepare] {
                               if (chdir(here.c_str()) == 0 && prepare) {
                                 prepare();
                               }
                             }});
  }
  [[nodiscard]] std::string In(const std::string& name) const { return folder_ / name; }

 private:
  TempFolder folder_;
};

TEST_F(OutputFile, IsCreatedWithTheModeThatTheCallersUmaskLeaves) {
  for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
    const std::string path = In(std::to_string(mask));
    EXPECT_TRUE(Ended(Run({"-o", path}, "new", [mask] { umask(mask); }), "", "", 0));
    EXPECT_EQ(ModeOf(path), 0666 & ~mask);
    EXPECT_EQ(StatusOf(path).st_size, 3);
  }
}

TEST_F(OutputFile, ThatExistsIsTruncatedAndKeepsItsNumberItsModeAndItsLinks) {
  WriteFile(In("f"), "an older and longer text");
  ASSERT_EQ(chmod(In("f").c_str(), 0640), 0);
  ASSERT_EQ(link(In("f").c_str(), In("link").c_str()), 0);
  const struct stat before = StatusOf(In("f"));
  EXPECT_TRUE(Ended(Run({"-o", "f"}, "new", [] { umask(0); }), "", "", 0));
  const struct stat after = StatusOf(In("f"));
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_nlink, 2U);
  EXPECT_EQ(ReadFile(In("link")), "new");
}

TEST_F(OutputFile, ByASymbolicLinkIsTheFileThatItPointsAt) {
  WriteFile(In("old"), "old");
  for (const std::string target : {"old", "created"}) {
    const std::string name = In("link to " + target);
    ASSERT_EQ(symlink(target.c_str(), name.c_str()), 0);
    EXPECT_TRUE(Ended(Run({"-o", name}), "", "", 0));
    EXPECT_EQ(std::filesystem::read_symlink(name), target);
    EXPECT_EQ(ReadFile(In(target)), "new");
  }
}

TEST_F(OutputFile, MayBeANamedPipeAndStaysOne) {
  ASSERT_EQ(mkfifo(In("pipe").c_str(), 0600), 0);
  const standin::Descriptor reader(open(In("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_TRUE(Ended(Run({"-o", "pipe"}), "", "", 0));
  std::array<char, 16> text{};
  EXPECT_EQ(read(reader.Get(), text.data(), text.size()), 3);
  EXPECT_STREQ(text.data(), "new");
  EXPECT_TRUE(S_ISFIFO(StatusOf(In("pipe")).st_mode));
}

TEST_F(OutputFile, MayBeADeviceAndStaysOne) {
  const Terminal terminal;
  EXPECT_TRUE(Ended(Run({"-o", terminal.Path()}, "new\n"), "", "", 0));
  EXPECT_EQ(terminal.ReadLine(), "new\n");
  EXPECT_TRUE(S_ISCHR(StatusOf(terminal.Path()).st_mode));
}

TEST_F(OutputFile, OfOneHyphenIsAFileOfThatName) {
  EXPECT_TRUE(Ended(Run({"-o", "-"}), "", "", 0));
  EXPECT_EQ(ReadFile(In("-")), "new");
}

TEST_F(OutputFile, WithoutANameEndsTheRunWithItsErrno) {
  constexpr int NO_SUCH_FILE = 2;
  EXPECT_TRUE(Ended(Run({"-o", ""}), "", "", NO_SUCH_FILE));
}

TEST_F(OutputFile, ThatIsAFolderEndsTheRunWithItsErrno) {
  constexpr int IS_A_FOLDER = 21;
  EXPECT_TRUE(Ended(Run({"-o", "."}), "", "", IS_A_FOLDER));
}

TEST_F(OutputFile, IsTheLastOneGivenAndNoOtherIsTouched) {
  WriteFile(In("first"), "old");
  EXPECT_TRUE(Ended(Run({"-o", "first", "--output-path=last"}), "", "", 0));
  EXPECT_EQ(ReadFile(In("first")), "old");
  EXPECT_EQ(ReadFile(In("last")), "new");
}

TEST_F(OutputFile, OfACommandThatStreamsNothingIsNotTouched) {
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    const ClientResult run =
        RunClientAgainst({.words = {word, "-o", In("f")},
                          .steps = {ReadRequest{}, SendBytes{Frame("00000000", "text")}}});
    EXPECT_EQ(run.exitValue, 0);
    EXPECT_FALSE(std::filesystem::exists(In("f")));
  }
}

TEST_F(OutputFile, BeyondTheCallersSizeLimitEndsTheProcessByTheSignalForIt) {
  const ClientResult run = Run({"-o", "f"}, Text(100000), [] {
    DumpNoCore();
    constexpr rlimit LIMIT = {4096, 4096};
    setrlimit(RLIMIT_FSIZE, &LIMIT);
  });
  EXPECT_EQ(run.signal, SIGXFSZ);
  EXPECT_EQ(ReadFile(In("f")), Text(4096));
}

}  // namespace
}  // namespace tests
