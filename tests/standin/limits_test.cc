// What clients may not do for ever or too much: so many at once, so long silent, so many bytes.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <tuple>

#include "core/frame.h"
#include "core/unix_socket.h"
#include "tests/support/bytes.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::ConnectTo;
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

TEST(Limits, AsManyClientsAreServedAsDescriptorsAllow) {
  const RunningStandin daemon;
  const std::vector<std::tuple<std::string, std::string, int>> cases = {
      {"40", "", 8},
      {"40", " --forward \"$2\"", 4},
      {"20", "", 1},
      {"48 && ulimit -Sn 40", "", 16}};
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
  const Descriptor silent = ConnectTo(standin.Socket());
  EXPECT_EQ(ReadExactly(silent.Get(), 1), "");
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
  EXPECT_EQ(standin.NextLine().at("event"), "refused");
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
