// The stand-in as a server: its socket, its end, many clients.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <regex>
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
using standin::EncodeHeader;

mode_t ModeOf(const std::string& path) {
  struct stat found {};
  EXPECT_EQ(stat(path.c_str(), &found), 0);
  return found.st_mode & 07777;
}

TEST(Server, TheFirstLineSaysWhereItIsReady) {
  const RunningStandin standin;
  EXPECT_EQ(standin.FirstLine(), "ready on " + standin.Socket());
}

TEST(Server, SocketHasMode0600UnlessAskedOtherwise) {
  const RunningStandin standin;
  EXPECT_EQ(ModeOf(standin.Socket()), 0600U);
  const RunningStandin open({"--mode", "0666"});
  EXPECT_EQ(ModeOf(open.Socket()), 0666U);
}

TEST(Server, OnceEndsAfterOneClientAndCountAfterSoMany) {
  RunningStandin once({"--once"});
  EXPECT_EQ(once.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(once.Finish().exitValue, 0);

  RunningStandin one({"--count", "1"});
  EXPECT_EQ(one.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(one.Finish().exitValue, 0);
  RunningStandin three({"--count", "3"});
  for (int client = 0; client < 3; ++client) {
    EXPECT_EQ(three.Client({"stats"}).exitValue, 0);
  }
  EXPECT_EQ(three.Finish().Events("request").size(), 3U);
}

TEST(Server, TheCommandMayGoOnAfterTheLastClient) {
  const TempFolder folder;
  const ProcessResult run =
      RunStandin({"--socket", folder / "s", "--once", "--", "sh", "-c",
                  "\"$0\" -s \"$1\" stats; for _ in 1 2 3 4 5 6 7 8; do (:); done; exit 7",
                  ClientPath(), folder / "s"});
  EXPECT_EQ(run.exitValue, 7);
}

TEST(Server, RefusesAPathThatAnotherProcessListensOn) {
  const RunningStandin standin;
  const ProcessResult second = RunStandin({"--socket", standin.Socket()});
  EXPECT_EQ(second.err, "trel-standin: another process listens on " + standin.Socket() + "\n");
  EXPECT_EQ(second.exitValue, 1);
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
}

TEST(Server, RefusesAPathThatIsNoSocket) {
  const TempFolder folder;
  std::ofstream(folder / "file") << "precious";
  const ProcessResult run = RunStandin({"--socket", folder / "file"});
  EXPECT_EQ(run.err, "trel-standin: " + (folder / "file") + " exists and is not a socket\n");
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(ReadFile(folder / "file"), "precious");
}

TEST(Server, LeavesASocketOfWhichItCannotTellWhetherItIsStale) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "the sanitizers of the stand-in need descriptors, too";
  }
  const TempFolder folder;
  const std::string path = folder / "s";
  for (const bool exists : {true, false}) {
    // With so few descriptors it fails early, with one more each time further on.
    const std::string why = exists ? path : "socket";
    int times = 0;
    for (int limit = 4; limit < 24; ++limit) {
      if (exists) {
        std::filesystem::remove(path);
        const standin::UnixListener stale(folder / "moved");
        std::filesystem::rename(folder / "moved", path);
      }
      const ProcessResult run =
          RunProcess({.arguments = {"sh", "-c",
                                    "ulimit -n " + std::to_string(limit) +
                                        " && exec \"$0\" --socket \"$1\" --log /dev/null -- true",
                                    StandinPath(), path},
                      .program = "/bin/sh"});
      if (run.err == "trel-standin: " + why + ": Too many open files\n") {
        EXPECT_EQ(std::filesystem::exists(path), exists) << limit;
        ++times;
      }
    }
    EXPECT_GT(times, 0);
  }
}

TEST(Server, RefusesAPathThatCannotBeBound) {
  const TempFolder folder;
  std::string path = folder / "";
  path.resize(108, 's');
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {path, "socket path of more than 107 bytes: " + path},
      {"", "the path of the socket is empty"},
      {folder / "none/s", "bind " + (folder / "none/s") + ": No such file or directory"},
      {folder / "fifo/s", "bind " + (folder / "fifo/s") + ": Not a directory"},
  };
  for (const auto& [socket, why] : cases) {
    const ProcessResult run = RunStandin({"--socket", socket});
    EXPECT_EQ(run.err, "trel-standin: " + why + "\n");
    EXPECT_EQ(run.exitValue, 1);
  }
}

/// Starts four stand-ins on one stale socket. Returns what they have logged, with one client
/// that connects once three have ended, and how these ended.
std::pair<std::string, std::vector<ProcessResult>> RaceOfFour() {
  const TempFolder folder;
  const std::string path = folder / "s";
  {
    const standin::UnixListener stale(folder / "moved");
    std::filesystem::rename(folder / "moved", path);
  }
  std::vector<ProcessResult> ended;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      ProcessResult run = RunStandin(
          {"--socket", path, "--log", folder / ("log" + std::to_string(number)), "--once"});
      const std::lock_guard lock(mutex);
      ended.push_back(std::move(run));
      changed.notify_all();
    });
  }
  std::vector<ProcessResult> refused;
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return ended.size() >= 3; });
    refused = ended;
  }
  (void)ConnectTo(path);
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string logs;
  for (int number = 0; number < 4; ++number) {
    const std::string log = folder / ("log" + std::to_string(number));
    logs += std::filesystem::exists(log) ? ReadFile(log) + "end\n" : "";
  }
  return {logs, refused};
}

/// Whether the process waits in its event loop.
bool Waits(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  std::string number;
  std::string name;
  char state = 0;
  std::ifstream(folder + "/stat") >> number >> name >> state;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd", ignored)) {
    if (std::filesystem::read_symlink(entry, ignored) == "anon_inode:[eventpoll]") {
      return state == 'S';
    }
  }
  return false;
}

TEST(Server, WaitsWhileAnotherOneLooksAtTheFolder) {
  const TempFolder folder;
  const std::string path = folder / "s";
  for (const std::string& socket : {path, std::string("s")}) {
    Descriptor lock(open((folder / ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(lock.Get(), LOCK_EX), 0);
    const ProcessResult run =
        RunProcess({.arguments = {"trel-standin", "--socket", socket, "--", "sh", "-c", "umask"},
                    .program = StandinPath(),
                    .prepare = [&] { (void)fchdir(lock.Get()); },
                    .whileRunning =
                        [&](pid_t process) {
                          while (!Waits(process)) {
                          }
                          EXPECT_FALSE(std::filesystem::exists(path));
                          lock.Close();
                        }});
    EXPECT_TRUE(Ended(run, "0022\n", "", 0)) << socket;
  }
}

TEST(Server, OfFourThatStartOnAStaleSocketOneLives) {
  for (int round = 0; round < 60; ++round) {
    const auto [logs, refused] = RaceOfFour();
    ASSERT_THAT(
        logs, testing::MatchesRegex("[^\n]*\"connection\":1,\"event\":\"incomplete\"[^\n]*\nend\n"))
        << "a stand-in that is refused leaves no trace";
    ASSERT_EQ(refused.size(), 3U);
    for (const ProcessResult& run : refused) {
      ASSERT_EQ(run.exitValue, 1);
      ASSERT_THAT(run.err, testing::StartsWith("trel-standin: another process listens on "));
    }
  }
}

TEST(Server, ReplacesAStaleSocket) {
  RunningStandin killed;
  std::filesystem::create_directory(killed.InFolder("kept"));
  const std::string path = killed.InFolder("kept/s");
  {
    // A socket whose listener is gone but whose name stays.
    const standin::UnixListener listener(killed.InFolder("moved"));
    std::filesystem::rename(killed.InFolder("moved"), path);
  }
  EXPECT_TRUE(std::filesystem::is_socket(path));
  const ProcessResult run = RunStandin({"--socket", path, "--", "test", "-S", path});
  EXPECT_EQ(run.exitValue, 0) << run.err;
}

TEST(Server, SlowAndSilentClientsHoldUpNobody) {
  const RunningStandin standin;
  std::vector<Descriptor> silent;
  for (int client = 0; client < 500; ++client) {
    silent.push_back(ConnectTo(standin.Socket()));
    WriteAll(silent.back().Get(), std::string(2, '\0'));
  }
  const Descriptor slow = ConnectTo(standin.Socket());
  WriteAll(slow.Get(), EncodeHeader({.word = 2, .length = 36}));
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
}

TEST(Server, EndsWhileAnotherProcessHoldsTheFolder) {
  const TempFolder folder;
  const Descriptor held(open((folder / "").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(held.Get(), LOCK_EX), 0);
  const ProcessResult run = RunProcess({.arguments = {"trel-standin", "--socket", folder / "s"},
                                        .program = StandinPath(),
                                        .whileRunning = [](pid_t process) {
                                          // Until it minds SIGTERM, which is bit 14.
                                          const std::regex minds("SigCgt:\t.*[4567cdef]...\n");
                                          const std::string status =
                                              "/proc/" + std::to_string(process) + "/status";
                                          while (!std::regex_search(ReadFile(status), minds)) {
                                          }
                                          kill(process, SIGTERM);
                                        }});
  EXPECT_TRUE(Ended(
      run, "",
      "trel-standin: ended before it was ready: another process looks at " + (folder / "s") + "\n",
      1));
}

TEST(Server, AClientThatVanishesIsToldInTheLog) {
  RunningStandin standin;
  (void)standin.Exchange("");
  const Json nothing = standin.NextLine();
  EXPECT_EQ(nothing.at("event"), "incomplete");
  EXPECT_EQ(nothing.at("bytes"), 0);
  EXPECT_EQ(nothing.at("why"), "hung up");
  (void)standin.Exchange(EncodeHeader({.word = 2, .length = 36}));
  const Json half = standin.NextLine();
  EXPECT_EQ(half.at("bytes"), 8);
  EXPECT_EQ(half.at("code"), 2);
  EXPECT_EQ(half.at("length"), 36);
}

TEST(Server, AClientThatIsSentNothingMayVanish) {
  RunningStandin standin;
  kill(standin.Process(), SIGSTOP);
  WriteAll(ConnectTo(standin.Socket()).Get(), EncodeFrame(30, ""));
  kill(standin.Process(), SIGCONT);
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(standin.Stop().log.size(), 2U);
}

TEST(Server, BytesBehindARequestAreToldInTheLog) {
  RunningStandin standin;
  (void)standin.Exchange(EncodeFrame(13, "") + "more");
  EXPECT_EQ(standin.NextLine().at("event"), "request");
  const Json trailing = standin.NextLine();
  EXPECT_EQ(trailing.at("event"), "trailing-bytes");
  EXPECT_EQ(trailing.at("bytes"), 4);
}

TEST(Server, WhatWasSentBeforeTheSignalIsStillLogged) {
  RunningStandin standin;
  std::vector<Descriptor> clients;
  for (int client = 0; client < 50; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
    WriteAll(clients.back().Get(), EncodeFrame(32, ""));
  }
  EXPECT_EQ(standin.Stop().Events("request").size(), 50U);
}

TEST(Server, ALogThatCannotBeWrittenEndsItWith1) {
  RunningStandin standin({"--log", "/dev/full"});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  const StandinResult result = standin.Finish();
  EXPECT_EQ(result.exitValue, 1);
  EXPECT_EQ(result.err, "trel-standin: the log cannot be written: No space left on device\n");
}

TEST(Server, AStandardOutputThatHasNoReaderEndsItWith1) {
  const TempFolder folder;
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  Descriptor reader(ends[0]);
  const Descriptor output(ends[1]);
  reader.Close();
  const ProcessResult run = RunProcess({.arguments = {"trel-standin", "--socket", folder / "s"},
                                        .program = StandinPath(),
                                        .prepare = [&] { dup2(output.Get(), STDOUT_FILENO); }});
  EXPECT_TRUE(Ended(run, "", "trel-standin: standard output cannot be written\n", 1));
}

TEST(Server, ACaptureOrARecordThatCannotBeWrittenEndsItWith1) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--pcap", "/dev/full"}, "the capture is not complete"},
      {{"--forward", "/none", "--record", "/dev/full"},
       "the record cannot be written: No space left on device"},
  };
  for (const auto& [words, why] : cases) {
    RunningStandin standin(words);
    (void)standin.Client({"what-if-cancel"});
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.exitValue, 1);
    EXPECT_EQ(result.err, "trel-standin: " + why + "\n");
    EXPECT_FALSE(result.log.empty());
  }
}

TEST(Server, Serves200ClientsAtOnce) {
  RunningStandin standin;
  std::vector<ProcessResult> runs(200);
  std::vector<std::thread> threads;
  for (ProcessResult& run : runs) {
    threads.emplace_back([&] { run = standin.Client({"info-owner-rebalance"}); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const ProcessResult& run : runs) {
    EXPECT_EQ(run.out, "{\"running\":false,\"bytesMoved\":0,\"bytesToMove\":0}\n") << run.err;
    EXPECT_EQ(run.exitValue, 0);
  }
  EXPECT_EQ(standin.Stop().Events("request").size(), 200U);
}

TEST(Server, Serves200OpenConnectionsAtOnce) {
  const RunningStandin standin;
  std::vector<Descriptor> clients;
  for (int client = 0; client < 200; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
    WriteAll(clients.back().Get(), EncodeHeader({.word = 2, .length = 36}));
  }
  for (const Descriptor& client : clients) {
    WriteAll(client.Get(), "00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(client.Get())));
  }
}

}  // namespace
}  // namespace tests
