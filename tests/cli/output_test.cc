// Where output goes: standard descriptors that are closed when the client starts, or that take
// nothing; a terminal, on which a stream's lines are seen as they come; the file that -o names,
// which is opened where and as the caller says, created by the caller's umask, truncated, never
// replaced.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "tests/cli/replies.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;
using standin::Descriptor;

enum class GoesTo { CALLER, DAEMON, NOBODY };
using enum GoesTo;

struct Closed {
  std::vector<int> numbers;
  GoesTo output;    ///< what is written to standard output
  GoesTo messages;  ///< what is written to standard error
};

const Closed ALL_CLOSED[] = {
    {{0}, CALLER, CALLER},       {{1}, DAEMON, CALLER},    {{2}, CALLER, DAEMON},
    {{0, 1}, NOBODY, CALLER},    {{0, 2}, CALLER, NOBODY}, {{1, 2}, DAEMON, NOBODY},
    {{0, 1, 2}, NOBODY, NOBODY},
};

class ClosedDescriptors : public testing::TestWithParam<Closed> {
 protected:
  static std::function<void()> CloseThem() {
    return [numbers = GetParam().numbers] {
      for (const int number : numbers) {
        close(number);
      }
    };
  }
};
INSTANTIATE_TEST_SUITE_P(Closed, ClosedDescriptors, testing::ValuesIn(ALL_CLOSED),
                         [](const auto& test) {
                           std::string name = "Number";
                           for (const int number : test.param.numbers) {
                             name += "_" + std::to_string(number);
                           }
                           return name;
                         });

TEST_P(ClosedDescriptors, MakeTheSocketNumberOneOrTwoOrLoseWhatIsWrittenThere) {
  constexpr int BAD_DESCRIPTOR = 9;
  const Closed& closed = GetParam();
  const TempFolder folder;
  const struct {
    Words words;
    std::string request;
    std::string reply;
    std::string output;
    std::string messages;
    int exitValue;
  } rows[] = {
      {{PRINTING},
       "00000006 00000000",
       Frame("00000000", "text"),
       "text\n",
       "",
       closed.output == NOBODY ? BAD_DESCRIPTOR : 0},
      {{"stats"}, "00000001 00000000", "text", "text", "", 0},
      {{PRINTING},
       "00000006 00000000",
       Frame("00000005", "why"),
       "",
       "Error received: Unknown status 0x00000005: why\n",
       5},
      {{"stats", "-o", folder / "f"}, "00000001 00000000", "text", "", "", 0},
  };
  const auto part = [](const std::string& text, GoesTo is, GoesTo wanted) {
    return is == wanted ? text : "";
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.words) + row.reply);
    const ClientResult run = RunClientAgainst(
        {.words = row.words,
         .steps = {ReadRequest{}, SendBytes{row.reply}, HalfClose{}, AwaitHangUp{}},
         .prepare = CloseThem()});
    EXPECT_TRUE(Ended(run, part(row.output, closed.output, CALLER),
                      part(row.messages, closed.messages, CALLER), row.exitValue));
    EXPECT_TRUE(SameBytes(FromHex(row.request) + part(row.output, closed.output, DAEMON) +
                              part(row.messages, closed.messages, DAEMON),
                          run.request));
  }
  EXPECT_EQ(ReadFile(folder / "f"), "text");
}

TEST_P(ClosedDescriptors, ARefusedLineReachesNobodyButTheCaller) {
  const ClientResult run = RunClientAgainst({.words = {"crawler"}, .prepare = CloseThem()});
  EXPECT_FALSE(run.called);
  EXPECT_EQ(run.out.substr(0, 6), GetParam().output == CALLER ? "usage:" : "");
  EXPECT_EQ(run.err,
            GetParam().messages == CALLER ? "UUID must be provided (specify with --uuid)\n" : "");
  EXPECT_EQ(run.exitValue, 1);
}

/// Runs `words` with its standard output set up by `prepare`.
ClientResult RunInto(const Words& words, const std::string& reply,
                     const std::function<void()>& prepare) {
  return RunClientAgainst(
      {.words = words, .steps = {ReadRequest{}, SendBytes{reply}}, .prepare = prepare});
}

/// Standard output becomes a pipe that nobody reads.
void BreakOutput() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
  }
}

void FillOutput() { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); }

void MakeOutputReadOnly() { dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDOUT_FILENO); }

TEST(FailingOutput, OfAPrintedReplyEndsTheRunWithItsErrno) {
  const std::string reply = Frame("00000000", "text");
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, BreakOutput), "", "", 32));
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, FillOutput), "", "", 28));
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, MakeOutputReadOnly), "", "", 9));
}

TEST(FailingOutput, OfAStreamGoesUnnoticed) {
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", BreakOutput), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", FillOutput), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", MakeOutputReadOnly), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats", "-o", "/dev/full"}, "text", {}), "", "", 0));
}

TEST(ClientOnATerminal, ShowsEachLineOfAStreamBeforeTheNextIsSent) {
  termios raw{};
  cfmakeraw(&raw);
  int ours = -1;
  int theirs = -1;
  ASSERT_EQ(openpty(&ours, &theirs, nullptr, &raw, nullptr), 0);
  const Descriptor ourEnd(ours);
  Descriptor theirEnd(theirs);
  fcntl(ours, F_SETFD, FD_CLOEXEC);
  fcntl(theirs, F_SETFD, FD_CLOEXEC);
  const Call await{[&](int /*connection*/) {
    char byte = '\0';
    while (byte != '\n' && read(ours, &byte, 1) == 1) {
    }
  }};
  // A client whose lines do not come runs into its time-out, and then the terminal is at its end.
  const ClientResult run = RunClientAgainst(
      {.words = {"stats"},
       .steps = {ReadRequest{}, SendBytes{"first\n"}, await, SendBytes{"second\n"}, await},
       .prepare = [&] { dup2(theirs, STDOUT_FILENO); },
       .whileRunning = [&](pid_t /*client*/) { theirEnd.Close(); }});
  EXPECT_EQ(run.exitValue, 0);
}

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

}  // namespace
}  // namespace tests
