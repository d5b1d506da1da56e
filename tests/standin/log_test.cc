// The log: what it shows of a request, its file, and what it leaves to others.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "core/frame.h"
#include "core/text.h"
#include "json/json.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"

namespace tests {
namespace {

using standin::EncodeFrame;

constexpr std::uint32_t LOG_LEVEL = 7;

/// Runs the stand-in with a log and a command, and returns what it has logged.
std::string LogOf(const TempFolder& folder, const std::vector<std::string>& command,
                  const std::vector<std::string>& environment = {}) {
  std::vector<std::string> words = {"trel-standin", "--socket",     folder / "s",
                                    "--log",        folder / "log", "--"};
  words.insert(words.end(), command.begin(), command.end());
  const ProcessResult run =
      RunProcess({.arguments = words, .environment = environment, .program = StandinPath()});
  EXPECT_EQ(run.exitValue, 0) << run.err;
  return ReadFile(folder / "log");
}

std::vector<std::string> Client(const TempFolder& folder, const std::string& level) {
  return {ClientPath(), "-s", folder / "s", "log-level", level};
}

TEST(Log, IsAsciiAndDropsNoByte) {
  const TempFolder folder;
  const std::string log = LogOf(
      folder, Client(folder, "\t\xff\xc0\xaf\x1b\x7f\u00e9\u202e\u2028\U0001f600\xed\xa0\x80."));
  EXPECT_THAT(log,
              testing::HasSubstr("\"level\":\"\\t\\ufffd\\ufffd\\ufffd\\u001b\\u007f\\u00e9\\u202e"
                                 "\\u2028\\ud83d\\ude00\\ufffd\\ufffd\\ufffd.\""));
  EXPECT_EQ(log.find_first_not_of("\n !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                  "[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~"),
            std::string::npos);
}

TEST(Log, EscapesAllButPrintableAsciiAndReplacesWhatIsNoUtf8) {
  const std::pair<std::string, std::string> cases[] = {
      {"00 09 0a 1f 20 22 5c 7e 7f", R"(\u0000\t\n\u001f \"\\~\u007f)"},
      {"c280 c4a3 dfbf e0a080 e495a7 e8a6ab", R"(\u0080\u0123\u07ff\u0800\u4567\u89ab)"},
      {"ecb7af ed9fbf ee8080 efbfbf", R"(\ucdef\ud7ff\ue000\uffff)"},
      {"f0908080 f48fbfbf", R"(\ud800\udc00\udbff\udfff)"},
      // A byte alone, a character in too many bytes, a surrogate, a number too large.
      {"41 80 41 bf 41 ff 41", R"(A\ufffdA\ufffdA\ufffdA)"},
      {"c1bf e09fbf", R"(\ufffd\ufffd\ufffd\ufffd\ufffd)"},
      {"f08fbfbf 41", R"(\ufffd\ufffd\ufffd\ufffdA)"},
      {"eda080 edbfbf", R"(\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd)"},
      {"f4908080 f8908080", R"(\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd)"},
      // Bytes that do not follow.
      {"c241 c2c2 80 e28228 c2", R"(\ufffdA\ufffd\u0080\ufffd\ufffd(\ufffd)"},
  };
  for (const auto& [bytes, escaped] : cases) {
    EXPECT_EQ(standin::ToJson(standin::FromHex(bytes)), '"' + escaped + '"');
  }
}

TEST(Log, ValuesAreWrittenAsTheyWereRead) {
  const std::string text = R"([null,true,false,0,18446744073709551615,-1.0,2.0,0.5,1e+300,"",[],)"
                           R"({},[[1],2],{"a":1,"b":{"c":[]}}])";
  EXPECT_EQ(standin::ToJson(standin::ParseJson(text)), text);
}

TEST(Log, ValuesAreTheSameByNumberAndByMember) {
  using standin::ParseJson;
  EXPECT_EQ(ParseJson(R"([{"a": 1}, 2.0])"), ParseJson(R"([{"a": 1.0}, 2])"));
  for (const char* const other : {R"({"a": 2})", R"({"b": 1})", R"({"a": "1"})", "{}"}) {
    EXPECT_FALSE(ParseJson(R"({"a": 1})") == ParseJson(other)) << other;
  }
}

TEST(Log, CutsLongTextsAndListsUnlessAllBytesAreWanted) {
  RunningStandin cut;
  (void)cut.Exchange(EncodeFrame(LOG_LEVEL, std::string(4096, 'x')));
  EXPECT_FALSE(cut.NextLine().contains("cut"));
  (void)cut.Exchange(EncodeFrame(LOG_LEVEL, std::string(5000, 'x')));
  const Json text = cut.NextLine();
  EXPECT_EQ(text.at("fields").at("level"), std::string(4096, 'x'));
  EXPECT_EQ(text.at("cut").dump(), R"({"level":5000})");
  std::string list = std::string(37 * 200 - 1, 'x');
  for (std::size_t comma = 36; comma < list.size(); comma += 37) {
    list[comma] = ',';
  }
  EXPECT_EQ(cut.Client({"set-global-exclusion-list", "-x", list}).exitValue, 0);
  EXPECT_EQ(cut.NextLine().at("cut").dump(), R"({"exclusionList":200})");

  RunningStandin whole({"--hex"});
  (void)whole.Exchange(EncodeFrame(LOG_LEVEL, std::string(5000, 'x')));
  const Json line = whole.NextLine();
  EXPECT_EQ(line.at("fields").at("level"), std::string(5000, 'x'));
  EXPECT_FALSE(line.contains("cut"));
}

/// Coordinated universal time in seconds, as the log writes it.
std::string UtcNow() {
  const std::time_t now = std::time(nullptr);
  tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  (void)std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  return text.data();
}

TEST(Log, HasUniversalTimeWhereverItIs) {
  const TempFolder folder;
  const std::string before = UtcNow();
  const Json line = Json::parse(LogOf(folder, Client(folder, "1"), {"TZ=HERE-9"}));
  const std::string after = UtcNow();
  EXPECT_THAT(line.at("time").get<std::string>().substr(before.size()),
              testing::MatchesRegex("[.][0-9]{6}Z"));
  const auto time = line.at("time").get<std::string>().substr(0, before.size());
  EXPECT_LE(before, time);
  EXPECT_LE(time, after);
}

TEST(Log, IsAppendedTo) {
  const TempFolder folder;
  const std::string first = LogOf(folder, Client(folder, "1"));
  const std::string both = LogOf(folder, Client(folder, "2"));
  EXPECT_EQ(both.substr(0, first.size()), first);
  EXPECT_GT(both.size(), first.size());
}

TEST(Log, TheCaptureHasEachPieceWithItsConnectionAndDirection) {
  const std::string order = std::endian::native == std::endian::big ? "01" : "00";
  const TempFolder folder;
  const std::string path = folder / "pcap";
  WriteFile(path, "what was there before");
  RunningStandin standin({"--pcap", path});
  const std::string request = EncodeFrame(13, "");
  const auto begin = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_TRUE(SameBytes(Zeros(8), standin.Exchange(request)));
  const auto end = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_EQ(standin.Stop().exitValue, 0);
  const std::string capture = ReadFile(path);
  EXPECT_TRUE(SameBytes(InMemory(0xa1b23c4dU) + InMemory(std::uint16_t{2}) +
                            InMemory(std::uint16_t{4}) + Zeros(8) + InMemory(65544U) +
                            InMemory(147U),
                        capture.substr(0, 24)));
  // Before each of the two stands the time, in seconds and nanoseconds.
  std::array<std::uint32_t, 2> time{};
  std::memcpy(time.data(), capture.data() + 24, sizeof time);
  const auto captured = std::chrono::seconds(time[0]) + std::chrono::nanoseconds(time[1]);
  EXPECT_LE(begin, captured);
  EXPECT_LE(captured, end);
  EXPECT_TRUE(
      SameBytes(InMemory(16U) + InMemory(16U) + FromHex("00000001 00" + order + "0000") + request,
                capture.substr(32, 24)));
  EXPECT_TRUE(
      SameBytes(InMemory(16U) + InMemory(16U) + FromHex("00000001 01" + order + "0000") + Zeros(8),
                capture.substr(64)));
}

TEST(Log, FollowsNoLink) {
  const TempFolder folder;
  std::ofstream(folder / "precious") << "kept";
  std::filesystem::create_symlink(folder / "precious", folder / "log");
  for (const auto& [option, name] : {std::pair("--log", "log"), {"--pcap", "capture"}}) {
    const ProcessResult run = RunStandin({"--socket", folder / "s", option, folder / "log"});
    EXPECT_EQ(run.exitValue, 1);
    EXPECT_EQ(run.err, std::string("trel-standin: ") + name + " " + (folder / "log") +
                           ": Too many levels of symbolic links\n");
  }
  EXPECT_EQ(ReadFile(folder / "precious"), "kept");
}

TEST(Log, ASocketInItsPlaceIsRefused) {
  const RunningStandin other;
  const TempFolder folder;
  const ProcessResult run = RunStandin({"--socket", folder / "s", "--log", other.Socket()});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(run.err, "trel-standin: log " + other.Socket() + ": No such device or address\n");
}

TEST(Log, CaptureAndRecordAreForTheirOwnerOnlyAndNotForTheCommand) {
  const TempFolder folder;
  const std::string owned = folder / "owned-";
  const mode_t mask = umask(0);
  const ProcessResult run =
      RunStandin({"--socket", folder / "s", "--log", owned + "log", "--pcap", owned + "capture",
                  "--record", owned + "record", "--forward", folder / "d", "--", "sh", "-c",
                  "stat -c %a \"$1\"*; for fd in /proc/$$/fd/*; do readlink $fd; done | "
                  "grep -c \"$1\"; true",
                  "sh", owned});
  umask(mask);
  EXPECT_EQ(run.out, "600\n600\n600\n0\n");
}

TEST(Log, MayBeAFifoThatNobodyReadsAndSoMayTheCapture) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const auto& [option, name] : {std::pair("--log", "log "), {"--pcap", "capture "}}) {
    const ProcessResult run = RunProcess(
        {.arguments = {"trel-standin", "--socket", folder / "s", option, folder / "fifo"},
         .program = StandinPath(),
         .whileRunning = [&](pid_t process) {
           while (!std::filesystem::exists(folder / "s")) {
           }
           kill(process, SIGTERM);
         }});
    EXPECT_TRUE(Ended(run, "",
                      std::string("trel-standin: ended before it was ready: nobody reads the ") +
                          name + (folder / "fifo") + "\n",
                      1));
    EXPECT_FALSE(std::filesystem::exists(folder / "s"));
  }
}

TEST(Log, EndsTheRunIfItsReaderGoes) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "log").c_str(), 0600), 0);
  standin::Descriptor log(open((folder / "log").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  RunningStandin standin({"--hex", "--log", folder / "log"});
  (void)standin.Exchange(EncodeFrame(99, std::string(1000000, 'x')));
  log.Close();
  EXPECT_EQ(standin.Finish().exitValue, 1);
}

TEST(Log, OnStandardErrorComesAfterWhatIsThereAndIsNotForTheCommand) {
  const TempFolder folder;
  const auto run = [&](const std::string& command) {
    return RunProcess(
        {.arguments = {"sh", "-c", command, StandinPath(), folder / "s", ClientPath()},
         .program = "/bin/sh"});
  };
  EXPECT_EQ(run("exec 2>\"$1.err\"; echo before >&2; "
                "exec \"$0\" --socket \"$1\" -- \"$2\" -s \"$1\" fix-concats")
                .exitValue,
            0);
  EXPECT_THAT(ReadFile(folder / "s.err"), testing::StartsWith("before\n{\"time\":"));
  const std::string list = "sh -c 'ls /proc/$$/fd; true' 2>&1 | cat";
  EXPECT_EQ(run("\"$0\" --socket \"$1\" -- " + list).out, run(list).out);
}

/// As proc(5) has it: 'S' while it waits, 'Z' once it has ended.
char StateOf(pid_t process) {
  const std::string stat = ReadFile("/proc/" + std::to_string(process) + "/stat");
  return stat.at(stat.rfind(')') + 2);
}

TEST(Log, ASlowReaderDoesNotHoldUpTheEndForLong) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "log").c_str(), 0600), 0);
  const standin::Descriptor log(open((folder / "log").c_str(), O_RDWR | O_CLOEXEC));
  RunningStandin standin({"--hex", "--log", folder / "log"});
  (void)standin.Exchange(EncodeFrame(99, std::string(4000000, 'x')));
  kill(standin.Process(), SIGTERM);
  // One page for each try to write more of them.
  std::string page(4096, '\0');
  for (char state = 0; state != 'Z'; state = StateOf(standin.Process())) {
    int unread = 0;
    ASSERT_EQ(ioctl(log.Get(), FIONREAD, &unread), 0);
    if (state == 'S' && unread == fcntl(log.Get(), F_GETPIPE_SZ)) {
      ASSERT_EQ(read(log.Get(), page.data(), page.size()), 4096);
    }
  }
  EXPECT_EQ(standin.Finish().err,
            "trel-standin: 1 lines could not be written: nobody reads them\n");
}

TEST(Log, AHangUpThatIsIgnoredStaysIgnored) {
  const TempFolder folder;
  // SIGHUP is bit 0.
  const ProcessResult run =
      RunProcess({.arguments = {"trel-standin", "--socket", folder / "s", "--", "sh", "-c",
                                "grep -q '^SigIgn:.*[13579bdf]$' /proc/$PPID/status"},
                  .program = StandinPath(),
                  .prepare = [] { (void)std::signal(SIGHUP, SIG_IGN); }});
  EXPECT_TRUE(Ended(run, "", "", 0));
}

TEST(Log, TheCommandIgnoresNoSignalThatTheStandInIgnores) {
  const TempFolder folder;
  // SIGPIPE is bit 12.
  EXPECT_EQ(LogOf(folder, {"grep", "-q", "^SigIgn:\t.*[02468ace]...$", "/proc/self/status"}), "");
}

}  // namespace
}  // namespace tests
