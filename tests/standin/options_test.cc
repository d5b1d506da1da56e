// The command line of the stand-in and its exit values.

#include "options.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>

#include "tests/support/running_standin.h"

namespace tests {
namespace {

standin::Options Read(std::vector<std::string> words) {
  std::vector<char*> pointers;
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  standin::Options options;
  EXPECT_FALSE(standin::ReadOptions(static_cast<int>(pointers.size()), pointers.data(), options));
  return options;
}

TEST(Options, TakeTheFirstAndTheLastNumberOfTheirRange) {
  const standin::Options first = Read(
      {"trel-standin", "--socket", "s", "--count", "1", "--max-payload", "0", "--max-connections",
       "1", "--idle-timeout", "0", "--handler-timeout", "1", "--timeout", "0.001", "--mode", "0"});
  EXPECT_EQ(first.limits.count, 1U);
  EXPECT_EQ(first.limits.maxPayload, 0U);
  EXPECT_EQ(first.limits.maxConnections, 1U);
  EXPECT_EQ(first.limits.idleTime, std::chrono::seconds(0));
  EXPECT_EQ(first.handlerPatience, std::chrono::seconds(1));
  EXPECT_EQ(first.timeout, std::chrono::milliseconds(1));
  EXPECT_EQ(first.mode, 0U);
  const standin::Options last =
      Read({"trel-standin", "--socket", "s", "--count", "1000000000000", "--max-payload",
            "4294967295", "--max-connections", "1000000", "--idle-timeout", "1000000",
            "--handler-timeout", "1000000", "--timeout", "1000000", "--mode", "0777"});
  EXPECT_EQ(last.limits.count, 1000000000000U);
  EXPECT_EQ(last.limits.maxPayload, 4294967295U);
  EXPECT_EQ(last.limits.maxConnections, 1000000U);
  EXPECT_EQ(last.limits.idleTime, std::chrono::seconds(1000000));
  EXPECT_EQ(last.handlerPatience, std::chrono::seconds(1000000));
  EXPECT_EQ(last.timeout, std::chrono::seconds(1000000));
  EXPECT_EQ(last.mode, 0777U);
  EXPECT_EQ(Read({"trel-standin", "--socket", "s", "--max-payload", "1kb"}).limits.maxPayload,
            1024U);
}

TEST(Options, HaveADefault) {
  const standin::Options options = Read({"trel-standin", "--socket", "s"});
  EXPECT_EQ(options.limits.count, std::nullopt);
  EXPECT_EQ(options.limits.maxPayload, 16777216U);
  EXPECT_EQ(options.limits.maxConnections, 0U);
  EXPECT_EQ(options.limits.idleTime, std::chrono::seconds(60));
  EXPECT_EQ(options.handlerPatience, std::chrono::seconds(10));
  EXPECT_EQ(options.timeout, std::chrono::seconds(0));
  EXPECT_EQ(options.mode, 0600U);
}

TEST(Options, HelpSaysWhatEveryOptionDoesAndEveryExitValueMeans) {
  const ProcessResult run = RunStandin({"--help"});
  EXPECT_EQ(run.exitValue, 0);
  EXPECT_THAT(run.out, testing::StartsWith(
                           "Plays the daemon treld on a Unix socket and logs what it is asked.\n"));
  for (const char* const text :
       {" trel-standin [OPTIONS]",
        " COMMAND TEXT ...",
        " Run this after --, serve it, and end when it ends\n",
        " --version ",
        " --socket PATH ",
        " Path to listen on\n",
        " --mode BITS=0600 ",
        " Permission bits of the socket, in octal\n",
        " --script FILE ",
        " Reply as this JSON file says\n",
        " --check ",
        " Only read the script\n",
        " --forward PATH ",
        " Forward to the daemon that listens there\n",
        " --handler COMMAND ",
        " Start this by sh(1): it replies, a line of JSON for each request\n",
        " --handler-timeout SECONDS:",
        " How long it may take for a reply\n",
        " --log FILE ",
        " Append the log to this file, not standard output\n",
        " --hex ",
        " Log the raw bytes too, as hexadecimal digits\n",
        " --record FILE ",
        " Write what is forwarded as a script\n",
        " --pcap FILE ",
        " Write all bytes as a capture for Wireshark\n",
        " --once ",
        " End after one client\n",
        " --count N:",
        " End after N clients\n",
        " --max-payload BYTES:",
        " Refuse requests with a longer payload; KiB, MiB may follow\n",
        " --max-connections N:",
        " Serve so many clients at once; more wait their turn [as many as descriptors allow]\n",
        " --idle-timeout SECONDS:",
        " Hang up on clients silent for so long in a request; 0: never\n",
        " --timeout SECONDS:",
        " End after so long, with the exit value 124\n",
        R"(
Exit values: 0 all went well; 1 the socket, the log or the system failed;
2 the command line or the script is wrong; 3 the script was not followed;
4 the handler failed; 124 --timeout; else that of COMMAND, 128 and the signal's number
if one ended it. The first line on standard output is "ready on PATH", but with a COMMAND
that has standard output to itself and PATH in its environment as TREL_STANDIN_SOCKET.
)"}) {
    EXPECT_THAT(run.out, testing::HasSubstr(text));
  }
}

TEST(Options, VersionIsPrinted) {
  const ProcessResult run = RunStandin({"--version"});
  EXPECT_EQ(run.exitValue, 0);
  EXPECT_THAT(run.out, testing::MatchesRegex("trel-standin [0-9.]+\n"));
}

TEST(Options, AMistakeExitsWith2AndNothingOnStandardOutput) {
  const std::vector<std::vector<std::string>> mistakes = {
      {},
      {"--socket"},
      {"--nonsense"},
      {"--socket", "/tmp/s", "--mode", "0999"},
      {"--socket", "/tmp/s", "--mode", "1000"},
      {"--socket", "/tmp/s", "--mode", "1777"},
      {"--socket", "/tmp/s", "--mode", "00777"},
      {"--socket", "/tmp/s", "--mode", "0X7"},
      {"--socket", "/tmp/s", "--mode", ""},
      {"--socket", "/tmp/s", "--count", "0"},
      {"--socket", "/tmp/s", "--count", "2", "--once"},
      {"--socket", "/tmp/s", "--max-payload", "many"},
      {"--socket", "/tmp/s", "--max-connections", "0"},
      {"--socket", "/tmp/s", "--record", "a"},
      {"--socket", "/tmp/s", "--handler", "a", "--handler-timeout", "0"},
      {"--check"},
      {"--socket", "/tmp/s", "--timeout", "0"},
      // Numbers that a conversion might take: the exit value would be 1.
      {"--socket", "/", "--timeout", "nan"},
      {"--socket", "/", "--count", "-1"},
      {"--socket", "/", "--count", "18446744073709551616"},
      {"--socket", "/", "--max-payload", "-1"},
      {"--socket", "/", "--max-payload", "4294967296"},
      // The first beyond the range.
      {"--socket", "/", "--count", "1000000000001"},
      {"--socket", "/", "--max-connections", "1000001"},
      {"--socket", "/", "--idle-timeout", "1000001"},
      {"--socket", "/", "--handler", "a", "--handler-timeout", "1000001"},
      {"--socket", "/", "--timeout", "0.0009"},
      {"--socket", "/", "--timeout", "1000000.5"},
  };
  for (const std::vector<std::string>& words : mistakes) {
    const ProcessResult run = RunStandin(words);
    EXPECT_EQ(run.exitValue, 2) << testing::PrintToString(words);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err, "");
  }
  const std::vector<std::pair<std::vector<std::string>, std::string>> reports = {
      {{}, "--socket "},
      {{"--socket", "/tmp/s", "--mode", "8"}, "--mode: octal bits from 0 to 0777 are wanted\n"},
      {{"--socket", "/", "--timeout", "nan"}, "--timeout: must be a number\n"},
  };
  for (const auto& [words, text] : reports) {
    EXPECT_THAT(RunStandin(words).err, testing::StartsWith(text));
  }
}

TEST(Options, ALogThatCannotBeOpenedExitsWith1) {
  const TempFolder folder;
  const ProcessResult run = RunStandin({"--socket", folder / "s", "--log", folder / "no/log"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(run.err, "trel-standin: log " + (folder / "no/log") + ": No such file or directory\n");
}

TEST(Options, ALongReportIsPrintedWhole) {
  const std::string path(10000, 'x');
  EXPECT_TRUE(Ended(RunStandin({"--check", "--script", path}), "",
                    "trel-standin: " + path + ": cannot be opened\n", 2));
}

TEST(Options, AReportThatNobodyTakesHoldsUpNothing) {
  for (const bool hasReader : {true, false}) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    standin::Descriptor reader(ends[0]);
    const standin::Descriptor writer(ends[1]);
    if (hasReader) {
      while (write(writer.Get(), "x", 1) == 1) {
      }
    } else {
      reader.Close();
    }
    fcntl(writer.Get(), F_SETFL, 0);
    const ProcessResult run =
        RunProcess({.arguments = {"trel-standin", "--check", "--script", "none"},
                    .program = StandinPath(),
                    .prepare = [&] { dup2(writer.Get(), STDERR_FILENO); }});
    EXPECT_EQ(run.exitValue, 2);
  }
}

TEST(Options, StandardStreamsThatAreClosedAreNotReplacedByWhatIsOpenedNext) {
  const TempFolder folder;
  const auto run = [&](const std::string& words) {
    return RunProcess(
        {.arguments = {"sh", "-c", "exec \"$0\" --socket \"$1\" " + words + " <&- >&- 2>&-",
                       StandinPath(), folder / "s"},
         .program = "/bin/sh"});
  };
  EXPECT_EQ(run("--timeout 1").exitValue, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "s"));
  // The command has them closed.
  EXPECT_EQ(run("--log \"$1.log\" -- sh -c 'cd /proc/$PPID/fd; "
                "readlink 0 1 2 /proc/self/fd/2 >\"$0\"; true' \"$1.out\"")
                .exitValue,
            0);
  EXPECT_EQ(ReadFile(folder / "s.out"), "/\n/\n/\n");
}

TEST(Options, ACommandThatCannotBeStartedExitsAsWithEnv) {
  const TempFolder folder;
  const ProcessResult none = RunStandin({"--socket", folder / "s", "--", folder / "none"});
  EXPECT_EQ(none.exitValue, 127);
  EXPECT_EQ(none.err, "trel-standin: " + (folder / "none") + ": No such file or directory\n");
  const ProcessResult denied = RunStandin({"--socket", folder / "s", "--", folder / "."});
  EXPECT_EQ(denied.exitValue, 126);
  EXPECT_EQ(denied.err, "trel-standin: " + (folder / ".") + ": Permission denied\n");
}

}  // namespace
}  // namespace tests
