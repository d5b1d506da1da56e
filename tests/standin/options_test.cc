// The command line of the stand-in and its exit values.

#include "options.h"

#include <gtest/gtest.h>

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

TEST(Options, AnIdleTimeoutOf0IsNone) {
  EXPECT_EQ(Read({"trel-standin", "--socket", "s"}).limits.idleTime, std::chrono::seconds(60));
  EXPECT_EQ(Read({"trel-standin", "--socket", "s", "--idle-timeout", "0"}).limits.idleTime,
            std::chrono::seconds(0));
}

TEST(Options, TakeTheLastNumberOfTheirRange) {
  const standin::Options options =
      Read({"trel-standin", "--socket", "s", "--count", "1000000000000", "--max-payload",
            "4294967295", "--max-connections", "1000000", "--idle-timeout", "1000000",
            "--handler-timeout", "1000000", "--timeout", "1000000"});
  EXPECT_EQ(options.limits.count, 1000000000000U);
  EXPECT_EQ(options.limits.maxPayload, 4294967295U);
  EXPECT_EQ(options.limits.maxConnections, 1000000U);
  EXPECT_EQ(options.limits.idleTime, std::chrono::seconds(1000000));
  EXPECT_EQ(options.handlerPatience, std::chrono::seconds(1000000));
  EXPECT_EQ(options.timeout, std::chrono::seconds(1000000));
  EXPECT_EQ(Read({"trel-standin", "--socket", "s", "--timeout", "0.001"}).timeout,
            std::chrono::milliseconds(1));
}

TEST(Options, HelpSaysWhatEveryOptionDoesAndEveryExitValueMeans) {
  const ProcessResult run = RunStandin({"--help"});
  EXPECT_EQ(run.exitValue, 0);
  for (const char* const text :
       {"Plays the daemon treld on a Unix socket and logs what it is asked.\n",
        "COMMAND TEXT ...",
        "Run this after --, serve it, and end when it ends\n",
        "--socket PATH ",
        "Path to listen on\n",
        "--mode BITS",
        "Permission bits of the socket, in octal\n",
        "--script FILE ",
        "Reply as this JSON file says\n",
        "--check ",
        "Only read the script\n",
        "--forward PATH ",
        "Forward to the daemon that listens there\n",
        "--handler COMMAND ",
        "Start this by sh(1): it replies, a line of JSON for each request\n",
        "--handler-timeout SECONDS",
        "How long it may take for a reply\n",
        "--log FILE ",
        "Append the log to this file, not standard output\n",
        "--hex ",
        "Log the raw bytes too, as hexadecimal digits\n",
        "--record FILE ",
        "Write what is forwarded as a script\n",
        "--pcap FILE ",
        "Write all bytes as a capture for Wireshark\n",
        "--once ",
        "End after one client\n",
        "--count N",
        "End after N clients\n",
        "--max-payload BYTES",
        "Refuse requests with a longer payload; KiB, MiB may follow\n",
        "--max-connections N",
        "Serve so many clients at once; more wait their turn [as many as descriptors allow]\n",
        "--idle-timeout SECONDS",
        "Hang up on clients silent for so long in a request; 0: never\n",
        "--timeout SECONDS",
        "End after so long, with the exit value 124\n",
        "--version ",
        "Exit values: 0 all went well; 1 the socket, the log or the system failed;\n",
        "2 the command line or the script is wrong; 3 the script was not followed;\n",
        "4 the handler failed; 124 --timeout; else that of COMMAND, 128 and the signal's number\n",
        "if one ended it. The first line on standard output is \"ready on PATH\", but with a "
        "COMMAND\n",
        "that has standard output to itself and PATH in its environment as TREL_STANDIN_SOCKET."}) {
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
      {"--socket", "/tmp/s", "--mode", "1777"},
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
}

TEST(Options, ALogThatCannotBeOpenedExitsWith1) {
  const TempFolder folder;
  const ProcessResult run = RunStandin({"--socket", folder / "s", "--log", folder / "no/log"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(run.err, "trel-standin: log " + (folder / "no/log") + ": No such file or directory\n");
}

TEST(Options, AStandardOutputThatIsClosedIsNotReplacedByWhatIsOpenedNext) {
  const TempFolder folder;
  const ProcessResult run = RunProcess({.arguments = {"sh", "-c",
                                                      "exec \"$0\" --socket \"$1\" --timeout 1 "
                                                      "<&- >&- 2>&-",
                                                      StandinPath(), folder / "s"},
                                        .program = "/bin/sh"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "s"));
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
