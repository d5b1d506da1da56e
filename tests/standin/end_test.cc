// How a run ends: a signal is held up by nothing, what is due is still sent, and what could
// not be written is reported. What holds up the end is found by the tests' time limit.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "core/frame.h"
#include "core/unix_socket.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::Descriptor;
using standin::EncodeFrame;

constexpr int HOUR = 3600000;

Json Late(const Json& reply) {
  Json late = reply;
  late["delay"] = HOUR;
  return {{"rules", {{{"command", "fix-concats"}, {"reply", late}}}}};
}

/// Connects and sends a request of fix-concats.
Descriptor Ask(const RunningStandin& standin) {
  Descriptor client = ConnectTo(standin.Socket());
  WriteAll(client.Get(), EncodeFrame(13, ""));
  return client;
}

TEST(End, ComesWithEachSignalAndRemovesTheSocket) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    RunningStandin standin;
    EXPECT_EQ(standin.Stop(signal).exitValue, 0);
    EXPECT_FALSE(std::filesystem::exists(standin.Socket()));
  }
}

TEST(End, LeavesASocketThatSomebodyElseHasPutInItsPlace) {
  RunningStandin standin;
  std::filesystem::remove(standin.Socket());
  const standin::UnixListener other(standin.Socket());
  EXPECT_EQ(standin.Stop().exitValue, 0);
  EXPECT_TRUE(std::filesystem::is_socket(standin.Socket()));
}

TEST(End, APauseIsCutShortAndTheReplyIsSent) {
  RunningStandin standin(Late({{"status", 5}, {"text", "late"}}), {});
  const Descriptor client = Ask(standin);
  EXPECT_EQ(standin.NextLine().at("event"), "request");
  EXPECT_TRUE(standin.Stop().Events("reply-not-taken").empty());
  EXPECT_TRUE(SameBytes(EncodeFrame(5, "late"), ReadFrame(client.Get())));
}

TEST(End, ThePausesOfAStreamAreCutShort) {
  const Json reply = {{"stream", {{{"text", "one "}}, {{"pause", HOUR}, {"text", "two"}}}}};
  RunningStandin standin(Json{{"rules", {{{"command", "fix-concats"}, {"reply", reply}}}}}, {});
  const Descriptor client = Ask(standin);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);  // comes after it
  EXPECT_EQ(ReadExactly(client.Get(), 4), "one ");
  EXPECT_EQ(recv(client.Get(), nullptr, 0, MSG_DONTWAIT), -1) << "no pause";
  EXPECT_EQ(standin.Stop().exitValue, 0);
  EXPECT_EQ(ReadExactly(client.Get(), 100), "two");
}

TEST(End, PausesAndRequestsAreOverBeforeTheTimeForRepliesIs) {
  // Whoever takes nothing is given that time. The others' bytes too many are logged after the
  // pause.
  const Json large = {{"command", "stats"}, {"reply", {{"text", std::string(1000000, 'x')}}}};
  Json script = Late({{"text", "late"}});
  script["rules"].push_back(large);
  RunningStandin standin(script, {});
  std::vector<Descriptor> clients;
  for (int client = 0; client < 6; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
    const std::string request = client % 2 == 0 ? EncodeFrame(1, "") : EncodeFrame(13, "") + "more";
    WriteAll(clients.back().Get(), request);
    EXPECT_EQ(standin.NextLine().at("event"), "request");
  }
  // Nor is there time for the rest of a request.
  clients.push_back(ConnectTo(standin.Socket()));
  WriteAll(clients.back().Get(), "xx");
  const StandinResult result = standin.Stop();
  ASSERT_EQ(result.log.size(), 7U);
  for (std::size_t line = 0; line < 7; ++line) {
    EXPECT_EQ(result.log[line].at("event") == "reply-not-taken", line > 3);
  }
}

TEST(End, NobodyCanConnectOnceItHasBegun) {
  RunningStandin standin(Json{{"rules", {{{"reply", {{"text", std::string(1000000, 'x')}}}}}}}, {});
  const Descriptor deaf = Ask(standin);  // takes nothing, and is given some time
  EXPECT_EQ(standin.NextLine().at("event"), "request");
  const Descriptor partial = ConnectTo(standin.Socket());
  WriteAll(partial.Get(), "xx");
  kill(standin.Process(), SIGTERM);
  EXPECT_EQ(standin.NextLine().at("event"), "incomplete");
  EXPECT_FALSE(standin::TryConnect(standin.Socket(), SOCK_STREAM).IsOpen());
}

TEST(End, APauseHoldsNoPlaceForAClientThatHasGone) {
  RunningStandin standin(Late({{"text", "late"}}), {"--max-connections", "2"});
  Descriptor other;
  {
    const Descriptor gone = Ask(standin);
    EXPECT_EQ(standin.NextLine().at("event"), "request");
    other = ConnectTo(standin.Socket());
    // The pause has begun by now.
    EXPECT_EQ(standin.NextLine().at("event"), "limit-reached");
  }
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  EXPECT_EQ(standin.NextLine().at("why"), "hung up");
}

TEST(End, AClientThatOnlySendsNoMoreIsStillRepliedTo) {
  RunningStandin standin(Json{{"rules", {{{"reply", {{"text", "late"}, {"delay", 20}}}}}}}, {});
  EXPECT_TRUE(SameBytes(EncodeFrame(0, "late"), standin.Exchange(EncodeFrame(13, ""))));
}

/// Runs the stand-in and its standard output's reader, who may read nothing for a while.
ProcessResult RunWithReader(
    const std::function<void(const std::string& socket, int output)>& reader) {
  const TempFolder folder;
  EXPECT_EQ(mkfifo((folder / "out").c_str(), 0600), 0);
  const Descriptor output(open((folder / "out").c_str(), O_RDWR | O_CLOEXEC));
  std::string first(9, '\0');
  const ProcessResult run =
      RunProcess({.arguments = {"trel-standin", "--socket", folder / "s", "--hex"},
                  .program = StandinPath(),
                  .prepare = [&] { dup2(output.Get(), STDOUT_FILENO); },
                  .whileRunning =
                      [&](pid_t process) {
                        EXPECT_EQ(read(output.Get(), first.data(), first.size()), 9);
                        reader(folder / "s", output.Get());
                        kill(process, SIGTERM);
                      }});
  EXPECT_EQ(first, "ready on ");
  return run;
}

void Exchange1000Times(const std::string& socket) {
  for (int request = 0; request < 1000; ++request) {
    const Descriptor client = ConnectTo(socket);
    WriteAll(client.Get(), EncodeFrame(13, ""));
    ASSERT_TRUE(SameBytes(Zeros(8), ReadFrame(client.Get()))) << request;
  }
}

TEST(End, AReaderOfTheFirstLineAloneHoldsUpNobodyAndMissesLines) {
  const ProcessResult run =
      RunWithReader([](const std::string& socket, int /*output*/) { Exchange1000Times(socket); });
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_THAT(run.err, testing::MatchesRegex(
                           "trel-standin: [0-9]+ lines could not be written: nobody reads them\n"));
}

/// Reads up to the line of a request with this code, the last one. The number of lines.
std::ptrdiff_t ReadLines(int output, std::uint32_t code) {
  const std::string last = "\"code\":" + std::to_string(code);
  std::string text;
  do {
    std::string piece(65536, '\0');
    piece.resize(static_cast<std::size_t>(read(output, piece.data(), piece.size())));
    text += piece;
  } while (text.back() != '\n' ||
           text.find(last, text.size() - std::min<std::size_t>(text.size(), 500)) ==
               std::string::npos);
  return std::count(text.begin(), text.end(), '\n');
}

void Exchange(const std::string& socket, std::uint32_t code, const std::string& payload) {
  const Descriptor client = ConnectTo(socket);
  WriteAll(client.Get(), EncodeFrame(code, payload));
  EXPECT_TRUE(SameBytes(EncodeFrame(0x0bad0001, "no such command"), ReadFrame(client.Get())));
}

TEST(End, AReaderWhoReadsNowAndThenMissesNothing) {
  const ProcessResult run = RunWithReader([](const std::string& socket, int output) {
    for (const std::ptrdiff_t lines : {1002, 1001}) {
      Exchange1000Times(socket);
      Exchange(socket, 98, "");
      EXPECT_EQ(ReadLines(output, 98), lines);
    }
  });
  EXPECT_TRUE(Ended(run, "", "", 0));
}

TEST(End, AReaderWhoReadsLateMissesWhatIsOver16MiB) {
  const ProcessResult run = RunWithReader([](const std::string& socket, int output) {
    for (int request = 0; request < 16; ++request) {
      Exchange(socket, 99, std::string(535000, 'x'));  // its line has 1.02 MiB
    }
    Exchange(socket, 98, "");
    EXPECT_EQ(ReadLines(output, 98), 17);
  });
  EXPECT_TRUE(Ended(run, "", "trel-standin: 1 lines could not be written: nobody reads them\n", 1));
}

TEST(End, WhatIsReadMakesRoomForMore) {
  // The first line that is read is the one that says it is ready.
  const ProcessResult run = RunWithReader([](const std::string& socket, int output) {
    for (const auto& [requests, linesRead] : {std::pair(1, 2), {15, 4}, {3, 0}}) {
      for (int request = 0; request < requests; ++request) {
        Exchange(socket, 99, std::string(535000, 'x'));  // its line has 1.02 MiB
      }
      for (std::ptrdiff_t lines = 0; lines < linesRead;) {
        std::string piece(4096, '\0');
        piece.resize(static_cast<std::size_t>(read(output, piece.data(), piece.size())));
        lines += std::count(piece.begin(), piece.end(), '\n');
      }
    }
    Exchange(socket, 98, "");
    EXPECT_EQ(ReadLines(output, 98), 15);
  });
  EXPECT_TRUE(Ended(run, "", "", 0));
}

/// Makes a FIFO that is never read, so that it takes what a pipe does.
Descriptor MakeFifo(const std::string& path) {
  EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
  return Descriptor(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

TEST(End, ReportsHowManyLinesOfTheLogAreMissing) {
  const TempFolder folder;
  const Descriptor log = MakeFifo(folder / "log");
  RunningStandin standin({"--log", folder / "log"});
  Exchange1000Times(standin.Socket());
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 1);
  std::string taken(1U << 20U, '\0');
  const ssize_t size = read(log.Get(), taken.data(), taken.size());
  ASSERT_GT(size, 0);
  const auto lines = std::count(taken.begin(), taken.begin() + size, '\n');
  EXPECT_EQ(result.err, "trel-standin: " + std::to_string(1000 - lines) +
                            " lines could not be written: nobody reads them\n");
}

TEST(End, ReportsThatBytesOfTheCaptureAreMissing) {
  const TempFolder folder;
  const Descriptor capture = MakeFifo(folder / "capture");
  RunningStandin standin({"--pcap", folder / "capture"});
  Exchange(standin.Socket(), 99, std::string(100000, 'x'));
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 1);
  EXPECT_EQ(result.err, "trel-standin: the capture is not complete\n");
}

/// A listener that accepts nobody, its queue full.
class BusyDaemon {
 public:
  explicit BusyDaemon(const std::string& path) : listener_(path) {
    listen(listener_.Fd(), 0);
    queued_ = ConnectTo(path);
  }
  standin::UnixListener& Listener() { return listener_; }

 private:
  standin::UnixListener listener_;
  Descriptor queued_;
};

TEST(End, ComesThoughTheDaemonAcceptsNobody) {
  const TempFolder folder;
  const BusyDaemon daemon(folder / "d");  // cppcheck-suppress unreadVariable ; its socket counts
  RunningStandin standin({"--forward", folder / "d"});
  const Descriptor client = Ask(standin);
  const Json busy = standin.NextLine();
  EXPECT_EQ(busy.at("event"), "daemon-busy");
  EXPECT_EQ(busy.at("why"), (folder / "d") + ": accepts nobody");
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.Events("daemon-unreachable").at(0).at("why"),
            (folder / "d") + ": accepts nobody");
}

TEST(End, ADaemonThatAcceptsAfterAllIsConnectedToInTheOrderOfTheClients) {
  const TempFolder folder;
  BusyDaemon daemon(folder / "d");
  RunningStandin standin({"--forward", folder / "d"});
  std::vector<Descriptor> clients;
  for (std::uint32_t client = 1; client <= 20; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
    WriteAll(clients.back().Get(), EncodeFrame(client, ""));
    EXPECT_EQ(standin.NextLine().at("event"), "daemon-busy");
  }
  (void)Accept(daemon.Listener());
  for (std::uint32_t client = 1; client <= 20; ++client) {
    const Descriptor connection = Accept(daemon.Listener());
    EXPECT_TRUE(SameBytes(EncodeFrame(client, ""), ReadFrame(connection.Get())));
  }
  EXPECT_TRUE(standin.Stop().Events("daemon-busy").empty());
}

TEST(End, APathWhoseListenerAcceptsNobodyIsTaken) {
  const TempFolder folder;
  const BusyDaemon daemon(folder / "d");  // cppcheck-suppress unreadVariable ; its socket counts
  const ProcessResult run = RunStandin({"--socket", folder / "d"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(run.err, "trel-standin: another process listens on " + (folder / "d") + "\n");
}

TEST(End, TheCommandIsEndedWithIt) {
  RunningStandin standin({"--", "sh", "-c", "echo started; exec sleep 1000"});
  EXPECT_EQ(standin.FirstLine(), "started");
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 128 + SIGTERM);
  EXPECT_EQ(result.err, "trel-standin: sh was ended by signal 15\n");
}

// The pipe of the output ends with the last process that has it, and only then a test.

TEST(End, ACommandThatIgnoresTheSignalIsKilledWithItsChildren) {
  RunningStandin standin({"--", "sh", "-c", "trap '' TERM; sleep 1000 & echo; wait; wait"});
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 128 + SIGKILL);
  EXPECT_EQ(result.err, "trel-standin: sh was killed: it did not end on SIGTERM\n");
}

TEST(End, WhatTheCommandLeavesRunningEndsToo) {
  for (const char* const command :
       {"sleep 1000 & echo", "setsid sleep 1000 & echo",
        "mkfifo f; setsid sh -c 'trap \"\" TERM; setsid sleep 1000 & echo >f; wait; wait' & "
        "read _ <f; echo"}) {
    const TempFolder folder;
    RunningStandin standin({"--", "sh", "-c", "cd " + (folder / ".") + "; " + command});
    EXPECT_EQ(standin.Finish().exitValue, 0) << command;
  }
}

TEST(End, WhatTheCommandLeavesRunningMayTidyUp) {
  for (const char* const command : {"setsid sh tidy &", "(sh tidy; true) &"}) {
    const TempFolder folder;
    WriteFile(folder / "tidy", "trap 'echo done >tidied; exit' TERM; echo >f; sleep 1000 & wait\n");
    RunningStandin standin(
        {"--", "sh", "-c", "cd " + (folder / ".") + "; mkfifo f; " + command + " read _ <f; echo"});
    EXPECT_EQ(standin.Finish().exitValue, 0);
    EXPECT_EQ(ReadFile(folder / "tidied"), "done\n");
  }
}

TEST(End, ATimeoutEndsItAndItsCommandWith124) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "log").c_str(), 0600), 0);
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"--", "sh", "-c", "trap '' TERM; sleep 1000; sleep 1000"},
      {"--log", folder / "log"},
  };
  for (const std::vector<std::string>& words : cases) {
    std::vector<std::string> all = {"--socket", folder / "s", "--timeout", "0.05"};
    all.insert(all.end(), words.begin(), words.end());
    const ProcessResult run = RunStandin(all);
    EXPECT_EQ(run.exitValue, 124);
    EXPECT_THAT(run.err, testing::EndsWith("trel-standin: the time of --timeout is over\n"));
    EXPECT_FALSE(std::filesystem::exists(folder / "s"));
  }
  EXPECT_EQ(RunStandin({"--socket", folder / "s", "--timeout", "0.001"}).exitValue, 124);
}

TEST(End, OnceServesOneOfTwoThatHaveConnected) {
  RunningStandin standin({"--once"});
  kill(standin.Process(), SIGSTOP);
  const Descriptor first = ConnectTo(standin.Socket());
  const Descriptor second = ConnectTo(standin.Socket());
  WriteAll(second.Get(), EncodeFrame(13, ""));
  WriteAll(first.Get(), EncodeFrame(13, ""));
  kill(standin.Process(), SIGCONT);
  EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(first.Get())));
  EXPECT_EQ(ReadFrame(second.Get()), "");
  EXPECT_EQ(standin.Finish().Events("request").size(), 1U);
}

}  // namespace
}  // namespace tests
