// Scripts that are a strict sequence, and how the stand-in reports whether they were
// followed.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"

namespace tests {
namespace {

const char* const UUID = "00112233-4455-6677-8899-aabbccddeeff";

Json TwoRequests() {
  return {{"sequence",
           {{{"command", "crawler"}, {"fields", {{"uuid", UUID}}}},
            {{"command", "info-owner-rebalance"}, {"reply", {{"text", "quiet"}}}}}}};
}

TEST(Sequence, FollowedToItsEndExitsWith0) {
  RunningStandin standin(TwoRequests(), {});
  EXPECT_EQ(standin.Client({"crawler", "-u", UUID}).exitValue, 0);
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "quiet\n");
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.err, "trel-standin: the script was followed: 2 requests\n");
}

TEST(Sequence, ADifferentFieldIsShownWithItsBytesAndExitsWith3) {
  RunningStandin standin(TwoRequests(), {});
  const ProcessResult run = standin.Client({"crawler", "-u", "00112233-4455-6677"});
  EXPECT_EQ(run.err, "Error received: Failure: not the request that the script expects\n");
  EXPECT_EQ(run.exitValue, 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: request 1 is not the one that the script expects; the nearest is "
            "sequence/0:\n"
            "  uuid: expected \"00112233-4455-6677-8899-aabbccddeeff\" (hex "
            "30303131323233332d343435352d363637372d383839392d616162626363646465656666), got "
            "\"00112233-4455-6677-0000-000000000000\" (hex "
            "30303131323233332d343435352d363637372d303030302d303030303030303030303030)\n"
            "the request was:\n"
            "000000 00 00 00 02 00 00 00 24 30 30 31 31 32 32 33 33\n"
            "000010 2d 34 34 35 35 2d 36 36 37 37 2d 30 30 30 30 2d\n"
            "000020 30 30 30 30 30 30 30 30 30 30 30 30\n");
  EXPECT_EQ(result.Events("request").at(0).at("differences").size(), 1U);
}

TEST(Sequence, RowsOfTheSameBytesAreShownOnce) {
  RunningStandin standin(TwoRequests(), {});
  (void)standin.Exchange(standin::EncodeFrame(31, Zeros(500) + "x" + Zeros(523)));
  EXPECT_THAT(standin.Stop().err,
              testing::HasSubstr("the request was:\n"
                                 "000000 00 00 00 1f 00 00 04 00 00 00 00 00 00 00 00 00\n"
                                 "000010 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n"
                                 "*\n"
                                 "0001f0 00 00 00 00 00 00 00 00 00 00 00 00 78 00 00 00\n"
                                 "000200 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n"
                                 "*\n"
                                 "000400 00 00 00 00 00 00 00 00\n"));
}

TEST(Sequence, WhatNoClientOfOursSendsIsShownToo) {
  for (const auto& [code, difference] :
       {std::pair(2U,
                  "uuid: expected any value, the payload is too short\n"
                  "the request was:\n"
                  "000000 00 00 00 02 00 00 00 08 69 6e 20 73 68 6f 72 74\n"),
        std::pair(99U,
                  "command: expected crawler (code 2), got no command (code 99)\n"
                  "the request was:\n"
                  "000000 00 00 00 63 00 00 00 08 69 6e 20 73 68 6f 72 74\n")}) {
    RunningStandin standin(
        Json{{"sequence", {{{"command", "crawler"}, {"fields", {{"uuid", {{"any", true}}}}}}}}},
        {});
    (void)standin.Exchange(standin::EncodeFrame(code, "in short"));
    EXPECT_THAT(standin.Stop().err, testing::EndsWith(difference));
  }
}

TEST(Sequence, AnotherCommandIsADifference) {
  RunningStandin standin(TwoRequests(), {});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: request 1 is not the one that the script expects; the nearest is "
            "sequence/0:\n"
            "  command: expected crawler (code 2), got what-if-cancel (code 18)\n"
            "the request was:\n"
            "000000 00 00 00 12 00 00 00 00\n");
}

TEST(Sequence, AnEntryThatClosesAfterTheHeaderClosesItsOwnCommandOnly) {
  const Json script = {
      {"sequence", {{{"command", "crawler"}, {"reply", {{"close", "after-header"}}}}}}};
  RunningStandin followed(script, {});
  EXPECT_EQ(followed.Exchange(std::string("\0\0\0\x02\0\0\0\x24", 8)), "");
  EXPECT_EQ(followed.Stop().err, "trel-standin: the script was followed: 1 request\n");
  RunningStandin different(script, {});
  EXPECT_EQ(different.Client({"what-if-cancel"}).exitValue, 1);
  EXPECT_EQ(different.Stop().exitValue, 3);
}

TEST(Sequence, AfterADifferenceItStaysAndRefuses) {
  RunningStandin standin(TwoRequests(), {});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  const ProcessResult run = standin.Client({"crawler", "-u", UUID});
  EXPECT_EQ(run.err, "Error received: Failure: the script was not followed before\n");
  EXPECT_EQ(run.exitValue, 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.Events("request").size(), 2U);
}

TEST(Sequence, ARequestThatNeverCameExitsWith3) {
  RunningStandin standin(TwoRequests(), {});
  EXPECT_EQ(standin.Client({"crawler", "-u", UUID}).exitValue, 0);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: sequence/1 (info-owner-rebalance) replied to 0 requests, at least 1 "
            "expected\n");
}

TEST(Sequence, ARequestTooManyExitsWith3) {
  RunningStandin standin(Json{{"sequence", {{{"command", "stats"}}}}}, {});
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: request 2 is not the one that the script expects:\n"
            "  command: expected nothing more, got what-if-cancel (code 18)\n"
            "the request was:\n"
            "000000 00 00 00 12 00 00 00 00\n");
}

TEST(Sequence, ARequestThatIsCutShortExitsWith3) {
  RunningStandin standin(TwoRequests(), {});
  EXPECT_EQ(standin.Exchange(std::string("\0\0\0", 3)), "");
  EXPECT_EQ(standin.Exchange("later"), "");
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err, "trel-standin: request 1 did not arrive whole: 3 bytes, then hung up\n");
}

TEST(Sequence, ARequestOverTheLimitExitsWith3) {
  RunningStandin standin(TwoRequests(), {"--max-payload", "3"});
  EXPECT_FALSE(standin.Exchange(standin::EncodeFrame(13, "four")).empty());
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: request 1 did not arrive whole: payload of 4 bytes, the limit is 3\n");
}

TEST(Sequence, ACommandAfterDashesIsRunAndServedUntilItEnds) {
  const TempFolder folder;
  std::ofstream(folder / "script.json") << TwoRequests();
  const std::string tool = "'" + ClientPath() + "' -s '" + (folder / "s") + "'";
  const std::vector<std::string> words = {"--socket",     folder / "s", "--log",
                                          folder / "log", "--script",   folder / "script.json",
                                          "--",           "sh",         "-c"};

  std::vector<std::string> good = words;
  good.push_back(tool + " crawler -u " + UUID + " && " + tool + " info-owner-rebalance");
  const ProcessResult followed = RunStandin(good);
  EXPECT_EQ(followed.exitValue, 0) << followed.err;
  EXPECT_EQ(followed.out, "quiet\n");

  std::vector<std::string> bad = words;
  bad.push_back(tool + " stats; echo cleaned up");
  const ProcessResult different = RunStandin(bad);
  EXPECT_EQ(different.exitValue, 3);
  EXPECT_THAT(different.out, testing::EndsWith("cleaned up\n"));
}

TEST(Sequence, TheExamplesUnderTestFollowTheirScriptsAndCleanUpAfterARefusal) {
  const TempFolder folder;
  const std::string examples = TREL_SOURCE_DIR "/standin/examples/";
  std::ofstream(folder / "refusal") << R"({"sequence": [{"command": "disable-workitem"},
      {"command": "what-if-entity-decom", "reply": {"status": 5}}, {"command": "enable-workitem"}]})";
  for (const auto& [script, program, exitValue, out] :
       {std::tuple{examples + "maintenance.json", "maintenance.sh", 0, "{\"feasible\":true}\n"},
        {examples + "rebalance.json", "rebalance.sh", 0, "moved after 4 polls\n"},
        {folder / "refusal", "maintenance.sh", 5, ""}}) {
    const ProcessResult run =
        RunStandin({"--socket", folder / "s", "--log", folder / "log", "--script", script, "--",
                    examples + program, ClientPath(), folder / "s"});
    EXPECT_EQ(run.exitValue, exitValue) << run.err;
    EXPECT_THAT(run.out, testing::EndsWith(out));
  }
}

TEST(Sequence, TheExitValueIsTheCommandsUnlessTheHandlerFailedOrTheScriptWasNotFollowed) {
  const TempFolder folder;
  const std::string followed = R"({"sequence": []})";
  const std::string unfollowed = R"({"sequence": [{"command": "stats"}]})";
  const std::string nothing = "trel-standin: the script was followed: 0 requests\n";
  struct Case {
    std::string script;
    std::vector<std::string> handler;
    std::string command;
    int exitValue;
    std::string err;
  };
  const std::vector<Case> cases = {
      {followed, {}, "exit 7", 7, "trel-standin: sh ended with exit value 7\n" + nothing},
      {followed, {}, "kill -9 $$", 128 + 9, "trel-standin: sh was ended by signal 9\n" + nothing},
      {followed, {"--handler", "exit 5"}, "exit 7", 4, nothing},
      {unfollowed,
       {"--handler", "exit 5"},
       "exit 7",
       3,
       "trel-standin: sequence/0 (stats) replied to 0 requests, at least 1 expected\n"},
  };
  for (const Case& test : cases) {
    WriteFile(folder / "script", test.script);
    std::vector<std::string> words = {"--socket", folder / "s", "--script", folder / "script"};
    words.insert(words.end(), test.handler.begin(), test.handler.end());
    words.insert(words.end(), {"--", "sh", "-c", test.command});
    const ProcessResult run = RunStandin(words);
    EXPECT_EQ(run.exitValue, test.exitValue);
    EXPECT_THAT(run.err, testing::EndsWith(test.err));
    EXPECT_EQ(run.err.find("the handler failed") == std::string::npos, test.handler.empty());
  }
}

TEST(Sequence, TheCommandHasStandardOutputToItselfAndFindsTheSocket) {
  const TempFolder folder;
  const std::string command = "cd / && echo $TREL_STANDIN_SOCKET && " + ClientPath() +
                              " -s $TREL_STANDIN_SOCKET info-owner-rebalance";
  const ProcessResult run =
      RunProcess({.arguments = {"trel-standin", "--socket", "s", "--", "sh", "-c", command},
                  .environment = {"TREL_STANDIN_SOCKET=/of/another"},
                  .program = StandinPath(),
                  .prepare = [&] { (void)!chdir((folder / ".").c_str()); }});
  EXPECT_EQ(run.exitValue, 0);
  EXPECT_EQ(run.out, folder / "s" + "\n{\"running\":false,\"bytesMoved\":0,\"bytesToMove\":0}\n");
  EXPECT_THAT(run.err, testing::HasSubstr("\"command\":\"info-owner-rebalance\""));
}

TEST(Sequence, ARequestWithoutReplyCountsThoughTheCommandHasEnded) {
  const TempFolder folder;
  std::ofstream(folder / "script.json") << R"({"sequence": [{"command": "refresh-config-opts"}]})";
  for (int round = 0; round < 20; ++round) {
    const ProcessResult run =
        RunStandin({"--socket", folder / "s", "--script", folder / "script.json", "--",
                    ClientPath(), "-s", folder / "s", "refresh-config-opts"});
    ASSERT_EQ(run.exitValue, 0) << run.err;
  }
}

}  // namespace
}  // namespace tests
