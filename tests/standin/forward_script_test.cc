// A script between a client and a daemon, and the record of what passes.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>

#include "contract/contract.h"
#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::EncodeFrame;

constexpr std::uint32_t STATS = 1;
constexpr std::uint32_t OWNER_REBALANCE = 35;

/// Sends `bytes` and returns all that comes until the stand-in hangs up.
std::string Ask(const RunningStandin& standin, const std::string& bytes) {
  const standin::Descriptor connection = ConnectTo(standin.Socket());
  WriteAll(connection.Get(), bytes);
  return ReadExactly(connection.Get(), std::numeric_limits<std::size_t>::max());
}

Json Rule(const std::string& command, const Json& reply) {
  return {{"rules", {{{"name", "one"}, {"command", command}, {"reply", reply}}}}};
}

TEST(ForwardScript, TheDaemonsOwnReplyIsChanged) {
  const std::string text = "too busy";
  RunningStandin daemon(Rule("info-owner-rebalance", {{"status", 5}, {"text", text}}), {});
  const std::string own = EncodeFrame(5, text);
  const std::string stream = "TREL statistics\nobjects owned: 1024\ncomponents absent: 0\n";
  struct Case {
    std::uint32_t code;
    Json changes;
    std::string reply;
    std::string logged;
  };
  const std::vector<Case> cases = {
      {OWNER_REBALANCE, {{"bytewise", true}}, own, R"({"type":"forward","bytewise":true})"},
      {OWNER_REBALANCE,
       {{"status", "0x2bad0010"}},
       EncodeFrame(0x2bad0010, text),
       R"({"type":"forward","status":732758032})"},
      {OWNER_REBALANCE,
       {{"text", "other"}},
       EncodeFrame(5, "other"),
       R"({"type":"forward","length":5})"},
      {OWNER_REBALANCE,
       {{"length", 4096}},
       FromHex("00000005 00001000") + text,
       R"({"type":"forward","length":4096})"},
      {OWNER_REBALANCE,
       {{"cutHeader", 3}},
       own.substr(0, 3),
       R"({"type":"forward","cutHeader":3})"},
      {OWNER_REBALANCE,
       {{"cutPayload", 2}},
       own.substr(0, 10),
       R"({"type":"forward","cutPayload":2})"},
      {STATS, {{"delay", 1}}, stream, R"({"type":"forward","delay":1})"},
      {STATS, {{"cutPayload", 4}}, "TREL", R"({"type":"forward","cutPayload":4})"},
      {STATS, {{"text", "other"}}, "other", R"({"type":"forward","length":5})"},
      {STATS,
       {{"text", "other"}, {"cutPayload", 1}},
       "o",
       R"({"type":"forward","length":5,"cutPayload":1})"},
  };
  for (const Case& test : cases) {
    Json reply = test.changes;
    reply["forward"] = true;
    RunningStandin standin(Rule(test.code == STATS ? "stats" : "info-owner-rebalance", reply),
                           {"--forward", daemon.Socket()});
    EXPECT_TRUE(SameBytes(test.reply, Ask(standin, EncodeFrame(test.code, "")))) << reply;
    // A line of the reply before tells that its end was not taken.
    Json line = daemon.NextLine();
    while (line.at("event") != "request") {
      line = daemon.NextLine();
    }
    EXPECT_EQ(line.at("code"), test.code);
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.Events("request").at(0).at("entry"), "one");
    EXPECT_EQ(result.Events("request").at(0).at("reply").dump(), test.logged);
    EXPECT_EQ(result.Events("reply").size(), 1U);
  }
}

TEST(ForwardScript, WhatIsNoWholeFrameIsNotMadeOne) {
  const std::vector<std::tuple<Json, std::string, Json>> cases = {
      {{{"close", "after-request"}}, "", {{"close", "after-request"}}},
      {{{"text", "ten bytes."}, {"cutPayload", 4}},
       FromHex("00000000 0000000a") + "ten ",
       {{"status", 0}, {"text", "ten "}, {"length", 10}}},
      {{{"cutHeader", 5}}, Zeros(5), {{"stream", {{{"text", Zeros(5)}}}}}},
  };
  for (const auto& [own, bytes, recorded] : cases) {
    const RunningStandin daemon(Rule("info-owner-rebalance", own), {});
    const std::string record = daemon.InFolder("record");
    RunningStandin standin(Rule("info-owner-rebalance", {{"forward", true}, {"status", 7}}),
                           {"--forward", daemon.Socket(), "--record", record});
    EXPECT_TRUE(SameBytes(bytes, Ask(standin, EncodeFrame(OWNER_REBALANCE, ""))));
    EXPECT_EQ(standin.Stop().exitValue, 0);
    EXPECT_EQ(Json::parse(ReadFile(record)).at("sequence").at(0).at("reply"), recorded);
  }
}

TEST(ForwardScript, NoMoreThanTheLimitOfAReplyIsKept) {
  const Json reply = {{"text", std::string(300000, 'x')}};
  const RunningStandin daemon(Json{{"rules", {{{"reply", reply}}}}}, {});
  const RunningStandin standin(Json{{"rules", {{{"reply", {{"forward", true}}}}}}},
                               {"--forward", daemon.Socket(), "--max-payload", "100000"});
  EXPECT_EQ(Ask(standin, EncodeFrame(STATS, "")).size(), 100000U);
  EXPECT_EQ(Ask(standin, EncodeFrame(OWNER_REBALANCE, "")).size(), 100008U);
}

TEST(ForwardScript, AFrameIsWaitedForToItsEndOnly) {
  const TempFolder folder;
  const std::string reply = EncodeFrame(0, "own");
  const ScriptedDaemon daemon(folder / "d", {ReadRequest{}, SendBytes{reply}, AwaitHangUp{}});
  const RunningStandin standin(Rule("info-owner-rebalance", {{"forward", true}}),
                               {"--forward", folder / "d"});
  EXPECT_TRUE(SameBytes(reply, Ask(standin, EncodeFrame(OWNER_REBALANCE, ""))));
}

TEST(ForwardScript, AReplyThatADaemonOwesIsForwardedAtTheEnd) {
  const TempFolder folder;
  const std::string reply = EncodeFrame(0, "in flight");
  pid_t process = 0;
  standin::Descriptor idle;
  const ScriptedDaemon daemon(folder / "d", {ReadRequest{}, Call{[&](int) {
                                               kill(process, SIGTERM);
                                               // The signal has been seen once this one is hung up
                                               // on.
                                               EXPECT_EQ(ReadExactly(idle.Get(), 1), "");
                                             }},
                                             SendBytes{reply}});
  const RunningStandin standin(Rule("info-owner-rebalance", {{"forward", true}}),
                               {"--forward", folder / "d"});
  process = standin.Process();
  idle = ConnectTo(standin.Socket());
  EXPECT_TRUE(SameBytes(reply, Ask(standin, EncodeFrame(OWNER_REBALANCE, ""))));
}

TEST(ForwardScript, EntriesReplyOrCountAndAllElsePasses) {
  RunningStandin daemon;
  RunningStandin standin(
      Json{{"rules",
            {{{"command", "what-if-cancel"}, {"reply", {{"status", 7}}}},
             {{"name", "counted"}, {"command", "stats"}, {"expect", {{"exactly", 2}}}}}}},
      {"--forward", daemon.Socket()});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 7);
  const std::vector<std::string> passed = {
      EncodeFrame(STATS, ""),
      EncodeFrame(OWNER_REBALANCE, ""),
      EncodeFrame(99, "unknown"),
      FromHex("ffffffff 0fffffff") + "longer than allowed",
      EncodeFrame(7, "cut short").substr(0, 12),
      "half",
      "",
  };
  for (const std::string& bytes : passed) {
    const std::string direct = daemon.Exchange(bytes);
    const std::string event = daemon.NextLine().at("event");
    EXPECT_TRUE(SameBytes(direct, standin.Exchange(bytes)));
    EXPECT_EQ(daemon.NextLine().at("event"), event);
  }
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: counted (stats) replied to 1 request, at least 2 expected\n");
  EXPECT_EQ(result.Events("request").at(1).at("entry"), "counted");
}

TEST(ForwardScript, WhatTheScriptRefusesDoesNotPass) {
  RunningStandin daemon;
  RunningStandin standin(Json{{"rules", Json::array()}, {"unmatched", "refuse"}},
                         {"--forward", daemon.Socket()});
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);  // a stream has no status
  EXPECT_EQ(standin.Stop().exitValue, 3);
  EXPECT_EQ(daemon.Stop().log.size(), 0U);
}

TEST(ForwardScript, AHandlerMayForward) {
  RunningStandin daemon;
  const RunningStandin standin(
      {"--forward", daemon.Socket(), "--handler",
       "jq --unbuffered --compact-output '{forward: true, status: .code}'"});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).exitValue, 35);
}

TEST(ForwardScript, WithoutADaemonToForwardToTheClientIsRefused) {
  const RunningStandin standin(Rule("info-owner-rebalance", {{"forward", true}}), {});
  EXPECT_TRUE(SameBytes(EncodeFrame(0x0bad0001, "no daemon: --forward is missing"),
                        Ask(standin, EncodeFrame(OWNER_REBALANCE, ""))));
}

TEST(ForwardScript, ADaemonThatIsSilentForTooLongIsGivenUpSlow) {
  const RunningStandin daemon(Rule("info-owner-rebalance", {{"silent", true}}), {});
  const RunningStandin standin(Rule("info-owner-rebalance", {{"forward", true}}),
                               {"--forward", daemon.Socket(), "--idle-timeout", "1"});
  EXPECT_EQ(Ask(standin, EncodeFrame(OWNER_REBALANCE, "")), "");
}

/// Has `requests` sent through a recording stand-in to `daemon`, and again to one that
/// plays the record back. All bytes of both must be the same. The record.
Json PlayedBack(const RunningStandin& daemon, const std::vector<std::string>& requests) {
  const TempFolder folder;
  const std::string record = folder / "record.json";
  std::vector<std::string> replies;
  RunningStandin forwards({"--forward", daemon.Socket(), "--record", record});
  for (const std::string& request : requests) {
    replies.push_back(Ask(forwards, request));
  }
  EXPECT_EQ(forwards.Stop().exitValue, 0);
  RunningStandin plays({"--script", record});
  for (std::size_t index = 0; index < requests.size(); ++index) {
    EXPECT_TRUE(SameBytes(replies[index], Ask(plays, requests[index]))) << index;
  }
  const StandinResult result = plays.Stop();
  EXPECT_EQ(result.exitValue, 0) << result.err;
  return Json::parse(ReadFile(record)).at("sequence");
}

TEST(Record, PlayedBackGivesTheSameBytesForEveryCommand) {
  const RunningStandin daemon;
  std::vector<std::string> requests;
  for (const contract::Command& command : contract::Get().commands) {
    for (const contract::Example& example : command.examples) {
      requests.push_back(example.Request());
    }
  }
  // What no script may ask for: text that is no UTF-8, a byte that is not zero.
  requests.push_back(
      EncodeFrame(contract::Get().CommandOfWord("log-level")->code, FromHex("ff 00")));
  requests.push_back(EncodeFrame(16, Zeros(20) + FromHex("01 aabbcc")));
  const Json record = PlayedBack(daemon, requests);
  EXPECT_EQ(record.size(), requests.size());
  EXPECT_TRUE(record.at(2).contains("fields"));
}

TEST(Record, PlayedBackGivesTheSameBytesForFaults) {
  const std::vector<Json> replies = {
      {{"status", "0x2bad0005"}, {"text", "no disk"}},
      {{"status", 5}},
      {{"hex", "ff 00 c3 28"}},
      {{"text", "ten bytes."}, {"cutPayload", 4}},
      {{"text", "short"}, {"length", 2}},
      {{"cutHeader", 5}},
      {{"close", "after-request"}},
      {{"stream", {{{"text", "one\n"}}, {{"hex", "fe"}}}}},
  };
  Json sequence = Json::array();
  std::vector<std::string> requests;
  for (const std::uint32_t code : {STATS, OWNER_REBALANCE, 99U}) {
    for (const Json& reply : replies) {
      sequence.push_back({{"reply", reply}});
      requests.push_back(EncodeFrame(code, ""));
    }
  }
  const RunningStandin daemon(Json{{"sequence", sequence}}, {});
  const Json record = PlayedBack(daemon, requests);
  ASSERT_EQ(record.size(), requests.size());
  EXPECT_EQ(record.at(replies.size()).dump(),
            R"({"command":"info-owner-rebalance","reply":{"status":732758021,"text":"no disk"}})");
}

TEST(Record, SilenceIsRecordedAsSilence) {
  const TempFolder folder;
  const RunningStandin daemon(Rule("info-owner-rebalance", {{"silent", true}}), {});
  RunningStandin standin({"--forward", daemon.Socket(), "--record", folder / "record"});
  {
    const standin::Descriptor client = ConnectTo(standin.Socket());
    WriteAll(client.Get(), EncodeFrame(OWNER_REBALANCE, ""));
    EXPECT_EQ(standin.NextLine().at("event"), "request");
  }
  EXPECT_EQ(standin.NextLine().at("event"), "end");
  // The daemon hangs up too, but only because the client sends no more.
  EXPECT_EQ(standin.Exchange(EncodeFrame(OWNER_REBALANCE, "")), "");
  EXPECT_EQ(standin.Stop().exitValue, 0);
  const Json sequence = Json::parse(ReadFile(folder / "record")).at("sequence");
  ASSERT_EQ(sequence.size(), 2U);
  for (const Json& entry : sequence) {
    EXPECT_EQ(entry.at("reply").dump(), R"({"silent":true})");
  }
}

TEST(Record, FollowsNoLinkAndReportsWhatDoesNotFit) {
  const TempFolder folder;
  std::filesystem::create_symlink(folder / "precious", folder / "link");
  const ProcessResult run = RunStandin(
      {"--socket", folder / "s", "--forward", folder / "d", "--record", folder / "link"});
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(run.err,
            "trel-standin: record " + (folder / "link") + ": Too many levels of symbolic links\n");

  WriteFile(folder / "big", std::string(24U << 20U, 'x'));
  Json stream = {{{"file", folder / "big"}}};
  for (const bool fits : {true, false}) {
    const RunningStandin daemon(Rule("stats", {{"stream", stream}}), {});
    RunningStandin standin({"--forward", daemon.Socket(), "--record", folder / "record"});
    EXPECT_EQ(Ask(standin, EncodeFrame(STATS, "")).size(), (24U << 20U) + (fits ? 0 : 500000));
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.exitValue, fits ? 0 : 1);
    EXPECT_EQ(result.err,
              fits ? "" : "trel-standin: 1 exchanges are not in the record: too many bytes\n");
    // It comes in several pieces.
    stream.push_back({{"text", std::string(500000, 'x')}});
  }
}

}  // namespace
}  // namespace tests
