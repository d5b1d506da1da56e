// What clients may not do for ever or too much: so many at once, so long silent, so many bytes.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <optional>
#include <set>
#include <thread>
#include <tuple>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::Descriptor;
using standin::EncodeFrame;
using standin::EncodeHeader;

TEST(Limits, ClientsBeyondTheLimitWaitTheirTurn) {
  RunningStandin standin({"--max-connections", "2"});
  Descriptor first = ConnectTo(standin.Socket());
  const Descriptor second = ConnectTo(standin.Socket());
  EXPECT_EQ(standin.NextLine().at("event"), "limit-reached");
  const Descriptor third = ConnectTo(standin.Socket());
  WriteAll(third.Get(), EncodeFrame(13, ""));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(recv(third.Get(), nullptr, 0, MSG_DONTWAIT), -1);
  first.Close();
  EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(third.Get())));
}

TEST(Limits, AClientThatNoDescriptorIsLeftForIsServedOnceThereIsOne) {
  RunningStandin standin;
  EXPECT_TRUE(SameBytes(Zeros(8), standin.Exchange(EncodeFrame(13, ""))));
  EXPECT_EQ(standin.NextLine().at("event"), "request");
  rlimit before{};
  ASSERT_EQ(prlimit(standin.Process(), RLIMIT_NOFILE, nullptr, &before), 0);
  const rlimit one = {.rlim_cur = 1, .rlim_max = before.rlim_max};
  ASSERT_EQ(prlimit(standin.Process(), RLIMIT_NOFILE, &one, nullptr), 0);
  const auto begin = std::chrono::steady_clock::now();
  const Descriptor client = ConnectTo(standin.Socket());
  WriteAll(client.Get(), EncodeFrame(13, ""));
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "accept-failed");
  EXPECT_EQ(line.at("why"), "Too many open files");
  EXPECT_EQ(line.at("connection"), 0);
  EXPECT_EQ(standin.NextLine().at("event"), "accept-failed");
  EXPECT_EQ(standin.NextLine().at("event"), "accept-failed");
  // It tries again ten times a second.
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
  ASSERT_EQ(prlimit(standin.Process(), RLIMIT_NOFILE, &before, nullptr), 0);
  EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(client.Get())));
}

TEST(Limits, TheRunEndsThoughNoDescriptorIsLeft) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "the sanitizers of the stand-in need descriptors, too";
  }
  RunningStandin standin;
  EXPECT_TRUE(SameBytes(Zeros(8), standin.Exchange(EncodeFrame(13, ""))));
  const rlimit one = {.rlim_cur = 1, .rlim_max = 1};
  ASSERT_EQ(prlimit(standin.Process(), RLIMIT_NOFILE, &one, nullptr), 0);
  const Descriptor client = ConnectTo(standin.Socket());
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.Events("request").size(), 1U);
  EXPECT_FALSE(result.Events("accept-failed").empty());
  EXPECT_EQ(ReadExactly(client.Get(), 1), "");
}

TEST(Limits, OneThatIsShortOfDescriptorsSaysSoAtTheStart) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "the sanitizers of the stand-in need descriptors, too";
  }
  const std::vector<std::pair<std::string, std::string>> cases = {{"true", "standard error"},
                                                                  {"", "standard output"}};
  for (const auto& [command, stream] : cases) {
    const TempFolder folder;
    std::set<std::string> said;
    for (int limit = 4; limit < 64; ++limit) {
      const ProcessResult run = RunProcess(
          {.arguments = {"sh", "-c",
                         "ulimit -n " + std::to_string(limit) +
                             "; exec \"$0\" --socket \"$1\" --log \"$1.log\" --timeout 1 -- " +
                             command,
                         StandinPath(), folder / "s"},
           .program = "/bin/sh"});
      if (run.exitValue == 127) {
        continue;  // too few for the libraries that it is linked with
      }
      if (run.exitValue != 1) {
        break;
      }
      EXPECT_THAT(run.err, testing::EndsWith(": Too many open files\n"));
      said.insert(run.err);
    }
    for (const std::string& what : {stream, std::string("socket")}) {
      EXPECT_TRUE(said.contains("trel-standin: " + what + ": Too many open files\n")) << what;
    }
  }
}

TEST(Limits, AsManyClientsAreServedAsDescriptorsAllow) {
  const RunningStandin daemon;
  const std::vector<std::tuple<std::string, std::string, int>> cases = {
      {"40", "", 8},
      {"40", " --forward \"$2\"", 4},
      {"20", "", 1},
      {"48 && ulimit -Sn 24", "", 16}};
  for (const auto& [limit, forward, clients] : cases) {
    const std::string command = "ulimit -n " + limit +
                                " && exec \"$0\" --socket \"$1\" --log \"$1.log\"" + forward +
                                " --timeout 60 -- /usr/bin/python3 -c '\n"
                                "import os, resource, socket\n"
                                "print(resource.getrlimit(resource.RLIMIT_NOFILE)[0])\n"
                                "path = os.environ[\"TREL_STANDIN_SOCKET\"]\n"
                                "clients = [socket.socket(socket.AF_UNIX) for _ in range(" +
                                std::to_string(clients) +
                                ")]\n"
                                "for client in clients:\n"
                                "    client.connect(path)\n"
                                "while \"limit\" not in open(path + \".log\").read():\n"
                                "    pass\n'";
    const TempFolder folder;
    const ProcessResult run = RunProcess(
        {.arguments = {"sh", "-c", command, StandinPath(), folder / "s", daemon.Socket()},
         .program = "/bin/sh"});
    EXPECT_EQ(run.exitValue, 0) << run.err;
    EXPECT_EQ(run.out, limit.substr(limit.size() - 2) + "\n");
    EXPECT_THAT(ReadFile(folder / "s.log"),
                testing::HasSubstr("\"limit-reached\",\"connections\":" + std::to_string(clients)));
  }
}

/// Processor time that the process has used.
std::chrono::nanoseconds TimeOfProcess(pid_t process) {
  clockid_t clock{};
  EXPECT_EQ(clock_getcpuclockid(process, &clock), 0);
  timespec spent{};
  EXPECT_EQ(clock_gettime(clock, &spent), 0);
  return std::chrono::seconds(spent.tv_sec) + std::chrono::nanoseconds(spent.tv_nsec);
}

TEST(Limits, HangsUpOnAClientThatIsSilentForTooLongSlow) {
  const Json script = {
      {"rules",
       {{{"command", "info-owner-rebalance"}, {"reply", {{"silent", true}}}},
        {{"command", "stats"}, {"reply", {{"text", std::string(1000000, 'x')}}}}}}};
  RunningStandin standin(script, {"--idle-timeout", "1"});
  // Its time is over before that of the silent one, but it is no longer asked for more. On a busy
  // machine the rest may come too late: then it is tried again.
  Descriptor served;
  const std::string request = EncodeFrame(35, "");
  for (Json last; !last.contains("reply") || last.at("reply").at("type") != "silence";) {
    served = ConnectTo(standin.Socket());
    WriteAll(served.Get(), request.substr(0, 2));
    (void)standin.Exchange(EncodeFrame(13, ""));
    WriteAll(served.Get(), request.substr(2));
    (void)standin.NextLine();
    last = standin.NextLine();
  }
  const Descriptor deaf = ConnectTo(standin.Socket());
  WriteAll(deaf.Get(), EncodeFrame(1, ""));
  EXPECT_EQ(standin.NextLine().at("code"), 1);
  const std::chrono::nanoseconds before = TimeOfProcess(standin.Process());
  const Descriptor silent = ConnectTo(standin.Socket());
  EXPECT_EQ(ReadExactly(silent.Get(), 1), "");
  // It sleeps meanwhile.
  EXPECT_LT(TimeOfProcess(standin.Process()) - before, std::chrono::milliseconds(200));
  for (const char* const event : {"reply-not-taken", "incomplete"}) {
    const Json line = standin.NextLine();
    EXPECT_EQ(line.at("event"), event);
    EXPECT_EQ(line.at("why"), "silent for too long");
  }
  char byte = 0;
  EXPECT_EQ(recv(served.Get(), &byte, 1, MSG_DONTWAIT), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST(Limits, AClientThatIsForwardedMayBeSilentSlow) {
  const RunningStandin daemon(
      Json{{"rules", {{{"command", "stats"}, {"reply", {{"silent", true}}}}}}}, {});
  const Json script = {{"rules", {{{"command", "stats"}, {"reply", {{"forward", true}}}}}}};
  const RunningStandin standin(script, {"--forward", daemon.Socket(), "--idle-timeout", "1"});
  const Descriptor silent = ConnectTo(standin.Socket());
  const std::string request = EncodeFrame(13, "");
  WriteAll(silent.Get(), request.substr(0, 2));
  // The daemon may not, and its time ends after that of the client would have.
  EXPECT_EQ(standin.Exchange(EncodeFrame(1, "")), "");
  WriteAll(silent.Get(), request.substr(2));
  EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(silent.Get())));
}

/// Runs a stand-in that serves one client, and reads what it logs in pieces, with a rest after
/// each of the first `rests`; then the others, if to its end. What the stand-in says; nothing if
/// a rest was nearly too long.
std::optional<std::string> ReadLogWithRests(int rests, bool toItsEnd) {
  const TempFolder folder;
  EXPECT_EQ(mkfifo((folder / "log").c_str(), 0600), 0);
  const Descriptor log(open((folder / "log").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  RunningStandin standin({"--hex", "--log", folder / "log", "--once"});
  (void)standin.Exchange(EncodeFrame(99, std::string(1000000, 'x')));
  EXPECT_EQ(fcntl(log.Get(), F_SETFL, 0), 0);
  bool tooLong = false;
  std::string piece(65536, '\0');
  for (; (rests > 0 || toItsEnd) && read(log.Get(), piece.data(), piece.size()) > 0; --rests) {
    if (rests > 0) {
      const auto begin = std::chrono::steady_clock::now();
      std::this_thread::sleep_for(std::chrono::milliseconds(800));
      tooLong |= std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(1500);
    }
  }
  const std::string said = standin.Finish().err;
  return tooLong ? std::nullopt : std::optional(said);
}

TEST(Limits, TheReaderOfTheLogMayRestForTwoSecondsSlow) {
  for (const auto& [rests, toItsEnd, expected] :
       {std::tuple(3, true, ""),
        {2, false, "trel-standin: 1 lines could not be written: nobody reads them\n"}}) {
    std::optional<std::string> said;
    while (!said) {
      said = ReadLogWithRests(rests, toItsEnd);
    }
    EXPECT_EQ(said, expected);
  }
}

TEST(Limits, APayloadOverTheLimitIsRefusedWithoutBeingStored) {
  RunningStandin standin({"--max-payload", "1000"});
  const ProcessResult run = standin.Client({"block-cdb-cb", "add", "node"});
  EXPECT_EQ(run.exitValue, 0);
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "refused");
  EXPECT_EQ(line.at("why"), "payload of 1024 bytes, the limit is 1000");
  EXPECT_TRUE(SameBytes(Zeros(8), standin.Exchange(EncodeFrame(13, std::string(1000, 'x')))));

  const ProcessResult move = standin.Client({"set-global-exclusion-list", "-x", ""});
  EXPECT_EQ(move.err,
            "Error received: Message too long: payload of 94728 bytes, the limit is 1000\n");
  EXPECT_EQ(move.exitValue, 90);
}

TEST(Limits, AnAnnouncementOf4GiBIsRefusedAtOnce) {
  RunningStandin standin;
  const Descriptor client = ConnectTo(standin.Socket());
  WriteAll(client.Get(), EncodeHeader({.word = 4, .length = 0xffffffff}));
  const std::string reply = ReadFrame(client.Get());
  EXPECT_TRUE(SameBytes(
      EncodeFrame(0x2bad005a, "payload of 4294967295 bytes, the limit is 16777216"), reply));
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "refused");
  EXPECT_EQ(line.at("code"), 4);
  EXPECT_EQ(line.at("length"), 0xffffffffU);
}

TEST(Limits, ARefusedClientIsLetGoOnceItHasSentAll) {
  const RunningStandin standin({"--max-payload", "1000"});
  const Descriptor client = ConnectTo(standin.Socket());
  WriteAll(client.Get(), EncodeFrame(4, std::string(1001, 'x')));
  EXPECT_FALSE(ReadFrame(client.Get()).empty());
  char byte = 0;
  EXPECT_EQ(recv(client.Get(), &byte, 1, 0), 0) << "reset";
}

}  // namespace
}  // namespace tests
