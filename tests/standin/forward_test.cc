// The stand-in between a client and a daemon: nothing changes but that both sides
// are logged.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <csignal>
#include <future>

#include "core/frame.h"
#include "core/unix_socket.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/command_samples.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::EncodeFrame;

/// What the daemon receives and the client prints with a stand-in in between.
struct Forwarded {
  std::string request;
  ProcessResult client;
  StandinResult standin;
};

Forwarded RunThroughProxy(const std::vector<std::string>& words, std::vector<Step> steps) {
  const TempFolder folder;
  ScriptedDaemon daemon(folder / "d", std::move(steps));
  RunningStandin standin({"--forward", folder / "d", "--once"});
  Forwarded forwarded;
  forwarded.client = standin.Client(words);
  // In this order: the daemon must not go before the proxy has connected.
  forwarded.standin = standin.Finish();
  forwarded.request = daemon.Received();
  return forwarded;
}

TEST(Forward, EachCommandIsTheSameByteForByteAsWithoutIt) {
  for (const CommandSample& sample : SampleOfEachCommand()) {
    SCOPED_TRACE(sample.name);
    const std::string reply =
        sample.mode == ReplyMode::STREAM ? "line\n" : EncodeFrame(0, "a reply");
    const std::vector<Step> steps = {ReadRequest{}, SendBytes{reply}, HalfClose{}, AwaitHangUp{}};
    const ClientResult direct = RunClientAgainst({.words = sample.words, .steps = steps});
    const Forwarded forwarded = RunThroughProxy(sample.words, steps);
    EXPECT_TRUE(SameBytes(direct.request, forwarded.request));
    EXPECT_TRUE(Ended(forwarded.client, direct.out, direct.err, direct.exitValue));
    const std::vector<Json> requests = forwarded.standin.Events("request");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].at("command"), sample.command->word);
    if (!sample.fields.empty()) {
      EXPECT_EQ(requests[0].at("fields").dump(), sample.fields);
    }
  }
}

/// The lines of the log without their time, one connection's.
std::vector<std::string> Lines(const StandinResult& result) {
  std::vector<std::string> lines;
  for (Json line : result.log) {
    line.erase("time");
    line.erase("connection");
    lines.push_back(line.dump());
  }
  return lines;
}

TEST(Forward, BothSidesAreLoggedDecoded) {
  const Forwarded forwarded = RunThroughProxy(
      {"log-level", "3"}, {ReadRequest{}, SendBytes{EncodeFrame(0x2bad0005, "no disk")}});
  EXPECT_EQ(forwarded.client.exitValue, 5);
  EXPECT_THAT(
      Lines(forwarded.standin),
      testing::ElementsAre(
          R"({"event":"request","command":"log-level","code":7,"length":1,"fields":{"level":"3"},)"
          R"("from":"client"})",
          R"({"event":"reply","from":"daemon","type":"frame","status":732758021,)"
          R"("statusHex":"0x2bad0005","length":7,"text":"no disk"})",
          R"({"event":"end","clientBytes":9,"daemonBytes":15})"));
}

TEST(Forward, AStreamIsForwardedAsItComesAndLoggedOnce) {
  const std::string big(300000, 'x');
  const Forwarded forwarded = RunThroughProxy(
      {"stats"}, {ReadRequest{}, SendBytes{"one\n"}, SendBytes{big}, SendBytes{"\nend\n"}});
  EXPECT_EQ(forwarded.client.out, "one\n" + big + "\nend\n");
  const Json reply = forwarded.standin.Events("reply").at(0);
  EXPECT_EQ(reply.at("from"), "daemon");
  EXPECT_EQ(reply.at("type"), "stream");
  EXPECT_EQ(reply.at("bytes"), 300009);
  EXPECT_EQ(reply.at("text"), "one\n" + std::string(4092, 'x'));
  EXPECT_EQ(reply.at("cut").at("text"), 300009);
}

TEST(Forward, WhatCannotBeDecodedIsForwardedUnchanged) {
  struct Case {
    std::string client;
    std::string daemon;
    std::vector<std::string> lines;  ///< of the log
  };
  const std::string decoded =
      R"({"event":"request","command":"log-level","code":7,"length":3,"fields":{"level":"abc"},)"
      R"("from":"client","hex":"0000000700000003616263"})";
  const Case cases[] = {
      {FromHex("ffffffff 00000003") + "ab",
       "no frame",
       {R"({"event":"not-decoded","from":"daemon","length":1918987621,)"
        R"("why":"payload over the limit, not decoded","bytes":8,"hex":"6e6f206672616d65"})",
        R"({"event":"not-decoded","from":"client","why":"ended before the frame was complete",)"
        R"("bytes":10,"hex":"ffffffff000000036162"})",
        R"({"event":"end","clientBytes":10,"daemonBytes":8})"}},
      {"x",
       "",
       {R"({"event":"not-decoded","from":"client","why":"ended before the frame was complete",)"
        R"("bytes":1,"hex":"78"})",
        R"({"event":"end","clientBytes":1,"daemonBytes":0})"}},
      // Payloads as long as the limit, and longer ones.
      {EncodeFrame(7, "four"),
       EncodeFrame(0, ""),
       {R"({"event":"reply","from":"daemon","type":"frame","status":0,"statusHex":"0x00000000",)"
        R"("length":0,"text":"","hex":"0000000000000000"})",
        R"({"event":"not-decoded","from":"client","length":4,)"
        R"("why":"payload over the limit, not decoded","bytes":12,"hex":"0000000700000004"})",
        R"({"event":"end","clientBytes":12,"daemonBytes":8})"}},
      {EncodeFrame(7, "abc"),
       EncodeFrame(0, "four"),
       {decoded,
        R"({"event":"not-decoded","from":"daemon","length":4,)"
        R"("why":"payload over the limit, not decoded","bytes":12,"hex":"0000000000000004"})",
        R"({"event":"end","clientBytes":11,"daemonBytes":12})"}},
      {EncodeFrame(7, "abc") + "d",
       EncodeFrame(0, "") + std::string(300000, 'e'),
       {decoded,
        R"({"event":"reply","from":"daemon","type":"frame","status":0,"statusHex":"0x00000000",)"
        R"("length":0,"text":"","hex":"0000000000000000"})",
        R"({"event":"not-decoded","from":"daemon","why":"bytes after the frame","bytes":300008,)"
        R"("hex":"0000000000000000"})",
        R"({"event":"not-decoded","from":"client","why":"bytes after the frame","bytes":12,)"
        R"("hex":"0000000700000003616263"})",
        R"({"event":"end","clientBytes":12,"daemonBytes":300008})"}},
      {EncodeFrame(1, ""),
       std::string(300000, 's'),
       {R"({"event":"request","command":"stats","code":1,"length":0,"fields":{},"from":"client",)"
        R"("hex":"0000000100000000"})",
        R"({"event":"reply","from":"daemon","type":"stream","bytes":300000,"text":"sss",)"
        R"("cut":{"text":300000},"hex":"737373"})",
        R"({"event":"end","clientBytes":8,"daemonBytes":300000})"}},
  };
  for (const Case& test : cases) {
    const TempFolder folder;
    ScriptedDaemon daemon(folder / "d", {AwaitHangUp{}, SendBytes{test.daemon}});
    RunningStandin standin({"--forward", folder / "d", "--once", "--max-payload", "3", "--hex"});
    EXPECT_TRUE(SameBytes(test.daemon, standin.Exchange(test.client)));
    EXPECT_TRUE(SameBytes(test.client, daemon.Received()));
    EXPECT_THAT(Lines(standin.Finish()), testing::ElementsAreArray(test.lines));
  }
}

TEST(Forward, AHalfCloseOfTheClientReachesTheDaemonAndTheReplyComesBack) {
  const TempFolder folder;
  // The daemon replies only once it has seen the end of the client's bytes.
  ScriptedDaemon daemon(folder / "d", {AwaitHangUp{}, SendBytes{EncodeFrame(0, "after")}});
  const RunningStandin standin({"--forward", folder / "d"});
  EXPECT_TRUE(SameBytes(EncodeFrame(0, "after"), standin.Exchange(EncodeFrame(35, ""))));
}

TEST(Forward, ADaemonThatTakesNoMoreMayStillReply) {
  const TempFolder folder;
  std::promise<void> deaf;
  std::promise<void> clientKnows;
  ScriptedDaemon daemon(folder / "d", {Call{[&](int fd) {
                                         shutdown(fd, SHUT_RD);
                                         deaf.set_value();
                                         clientKnows.get_future().wait();
                                       }},
                                       SendBytes{"late"}});
  const RunningStandin standin({"--forward", folder / "d"});
  const standin::Descriptor client = ConnectTo(standin.Socket());
  deaf.get_future().wait();
  while (WriteAll(client.Get(), EncodeFrame(13, ""))) {
  }
  clientKnows.set_value();
  EXPECT_EQ(ReadExactly(client.Get(), 5), "late");
}

TEST(Forward, AClientThatGoesAfterItsHalfCloseTakesTheDaemonsSideAlong) {
  const TempFolder folder;
  std::promise<void> halfClosed;
  std::promise<void> ended;
  ScriptedDaemon daemon(folder / "d", {AwaitHangUp{}, Call{[&](int) {
                                         halfClosed.set_value();
                                         ended.get_future().wait();
                                       }}});
  RunningStandin standin({"--forward", folder / "d", "--once"});
  {
    const standin::Descriptor client = ConnectTo(standin.Socket());
    shutdown(client.Get(), SHUT_WR);
    halfClosed.get_future().wait();
  }
  EXPECT_EQ(standin.NextLine().at("event"), "end");
  ended.set_value();
}

TEST(Forward, AReplyThatADaemonOwesIsForwardedAtTheEnd) {
  const std::pair<std::uint32_t, std::string> cases[] = {{1, "a stream"}, {35, EncodeFrame(0, "")}};
  for (const auto& [code, reply] : cases) {
    const TempFolder folder;
    pid_t process = 0;
    standin::Descriptor idle;
    ScriptedDaemon daemon(folder / "d", {ReadRequest{}, Call{[&](int fd) {
                                           kill(process, SIGTERM);
                                           // The signal has been seen once this one is hung up on.
                                           EXPECT_EQ(ReadExactly(idle.Get(), 1), "");
                                           char byte = 0;
                                           EXPECT_EQ(recv(fd, &byte, 1, MSG_DONTWAIT), -1);
                                         }},
                                         SendBytes{reply}});
    RunningStandin standin({"--forward", folder / "d"});
    process = standin.Process();
    const std::string request = EncodeFrame(code, "");
    const standin::Descriptor client = ConnectTo(standin.Socket());
    WriteAll(client.Get(), request.substr(0, 4));
    idle = ConnectTo(standin.Socket());
    WriteAll(idle.Get(), EncodeFrame(30, ""));
    EXPECT_EQ(standin.NextLine().at("connection"), 2);
    WriteAll(client.Get(), request.substr(4));
    EXPECT_TRUE(SameBytes(reply, ReadExactly(client.Get(), reply.size())));
    EXPECT_EQ(standin.Finish().Events("reply").size(), 1U);
  }
}

TEST(Forward, AHangUpOfTheDaemonReachesTheClient) {
  const Forwarded forwarded = RunThroughProxy({"info-owner-rebalance"}, {ReadRequest{}});
  EXPECT_EQ(forwarded.client.out, "\n");
  EXPECT_EQ(forwarded.client.exitValue, 0);
}

TEST(Forward, TheDaemonIsConnectedToInTheOrderOfTheClients) {
  constexpr int CLIENTS = 100;
  const TempFolder folder;
  const standin::UnixListener daemon(folder / "d");
  const RunningStandin standin({"--forward", folder / "d"});
  for (int client = 0; client < CLIENTS; ++client) {
    const standin::Descriptor connection = ConnectTo(standin.Socket());
    WriteAll(connection.Get(), EncodeFrame(30, std::to_string(client)));
  }
  for (int client = 0; client < CLIENTS; ++client) {
    const standin::Descriptor connection = Accept(daemon);
    ASSERT_EQ(ReadFrame(connection.Get()).substr(8), std::to_string(client));
  }
}

TEST(Forward, WithoutADaemonTheClientIsHungUpOnAndTheLogSaysWhy) {
  const TempFolder folder;
  RunningStandin standin({"--forward", folder / "d", "--once"});
  EXPECT_THAT(standin.Client({"info-owner-rebalance"}).exitValue, testing::AnyOf(0, 32, 104));
  const Json line = standin.Finish().Events("daemon-unreachable").at(0);
  EXPECT_EQ(line.at("why"), (folder / "d") + ": No such file or directory");
}

}  // namespace
}  // namespace tests
