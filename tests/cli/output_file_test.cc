// What becomes of the file that -o names: it is opened where and as the caller says,
// created by the caller's umask, truncated, never replaced.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/cli/replies.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;

class OutputFile : public testing::Test {
 protected:
  /// Runs `words` in the test's folder; the daemon sends `reply`.
  [[nodiscard]] ClientResult Run(
      std::vector<std::string> words, const std::string& reply = "new",
      const std::function<void()>& prepare = [] {}) const {
    return RunClientAgainst({.words = std::move(words),
                             .steps = {ReadRequest{}, SendBytes{reply}},
                             .prepare = [here = folder_ / "", prepare] {
                               if (chdir(here.c_str()) == 0) {
                                 prepare();
                               }
                             }});
  }
  [[nodiscard]] std::string In(const std::string& name) const { return folder_ / name; }
  [[nodiscard]] struct stat StatusOf(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(lstat(In(name).c_str(), &status), 0) << name;
    return status;
  }

 private:
  TempFolder folder_;
};

TEST_F(OutputFile, IsCreatedWithTheModeThatTheCallersUmaskLeaves) {
  for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
    const std::string name = std::to_string(mask);
    EXPECT_TRUE(Ended(Run({"stats", "-o", name}, "new", [mask] { umask(mask); }), "", "", 0));
    EXPECT_EQ(StatusOf(name).st_mode & 07777, 0666 & ~mask);
    EXPECT_EQ(StatusOf(name).st_size, 3);
  }
}

TEST_F(OutputFile, ThatExistsStaysWhatItIsAndHasTheTextAlone) {
  WriteFile(In("file"), "an older and longer text");
  ASSERT_EQ(chmod(In("file").c_str(), 0640), 0);
  ASSERT_EQ(link(In("file").c_str(), In("other name").c_str()), 0);
  ASSERT_EQ(symlink("target", In("link").c_str()), 0);
  ASSERT_EQ(mkfifo(In("pipe").c_str(), 0600), 0);
  const standin::Descriptor pipe(open(In("pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  for (const std::string name : {"file", "link", "pipe"}) {
    const struct stat before = StatusOf(name);
    EXPECT_TRUE(Ended(Run({"stats", "-o", name}), "", "", 0));
    const struct stat after = StatusOf(name);
    EXPECT_EQ(after.st_ino, before.st_ino) << name;
    EXPECT_EQ(after.st_mode, before.st_mode) << name;
    EXPECT_EQ(after.st_nlink, before.st_nlink) << name;
  }
  EXPECT_EQ(ReadFile(In("other name")), "new");
  EXPECT_EQ(ReadFile(In("target")), "new");
  std::string piped(16, '?');
  piped.resize(static_cast<std::size_t>(read(pipe.Get(), piped.data(), piped.size())));
  EXPECT_EQ(piped, "new");
}

TEST_F(OutputFile, IsTheLastOneGivenAsItIsSpelt) {
  WriteFile(In("first"), "old");
  EXPECT_TRUE(Ended(Run({"stats", "-o", "first", "--output-path=-"}), "", "", 0));
  EXPECT_EQ(ReadFile(In("first")), "old");
  EXPECT_EQ(ReadFile(In("-")), "new");
}

TEST_F(OutputFile, ThatCannotBeOpenedEndsTheRunWithItsErrno) {
  for (const auto& [name, error] : {std::pair{"", 2}, {"none/f", 2}, {".", 21}}) {
    EXPECT_TRUE(Ended(Run({"stats", "-o", name}), "", "", error));
  }
}

TEST_F(OutputFile, OfACommandThatStreamsNothingIsNotTouched) {
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    EXPECT_EQ(Run({word, "-o", "f"}, Frame("00000000", "text")).exitValue, 0);
    EXPECT_FALSE(std::filesystem::exists(In("f")));
  }
}

TEST_F(OutputFile, BeyondTheCallersSizeLimitEndsTheProcessByTheSignalForIt) {
  const ClientResult run = Run({"stats", "-o", "f"}, Text(100000), [] {
    DumpNoCore();
    constexpr rlimit LIMIT = {4096, 4096};
    setrlimit(RLIMIT_FSIZE, &LIMIT);
  });
  EXPECT_EQ(run.signal, SIGXFSZ);
  EXPECT_EQ(ReadFile(In("f")), Text(4096));
}

}  // namespace
}  // namespace tests
