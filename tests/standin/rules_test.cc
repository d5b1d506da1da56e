// Scripts of rules.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/running_standin.h"

namespace tests {
namespace {

TEST(Rules, TheFirstRuleThatMatchesReplies) {
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  const RunningStandin standin(
      Json{{"rules",
            {{{"command", "info-rebalance"},
              {"fields", {{"uuid", uuid}}},
              {"reply", {{"text", "the one"}}}},
             {{"command", "info-rebalance"}, {"reply", {{"status", 5}, {"text", "any other"}}}},
             {{"command", "stats"}}}}},
      {});
  EXPECT_EQ(standin.Client({"info-rebalance", "-u", uuid}).out, "the one\n");
  const ProcessResult other = standin.Client({"info-rebalance", "-a"});
  EXPECT_EQ(other.err, "Error received: Unknown status 0x00000005: any other\n");
  EXPECT_EQ(other.exitValue, 5);
  EXPECT_EQ(standin.Client({"stats"}).out,
            "TREL statistics\nobjects owned: 1024\ncomponents absent: 0\n");
}

TEST(Rules, RequestsThatNoRuleMatchesGetTheDefaultReply) {
  const RunningStandin standin(
      Json{{"rules", {{{"command", "stats"}, {"reply", {{"silent", true}}}}}}}, {});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out,
            "{\"running\":false,\"bytesMoved\":0,\"bytesToMove\":0}\n");
}

TEST(Rules, ARuleRepliesNoMoreOftenThanItsTimes) {
  const RunningStandin standin(
      Json{{"rules",
            {{{"command", "info-owner-rebalance"}, {"times", 2}, {"reply", {{"text", "early"}}}},
             {{"reply", {{"text", "late"}}}}}}},
      {});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "early\n");
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "early\n");
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "late\n");
}

TEST(Rules, EveryKindOfFieldCanBeAskedFor) {
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  const RunningStandin standin(Json{{"rules",
                                     {{{"command", "start-proactive-rebalance"},
                                       {"fields", {{"varianceThreshold", 0.5}, {"timeSpan", 60}}},
                                       {"reply", {{"status", 1}}}},
                                      {{"command", "enable-workitem"},
                                       {"fields", {{"workItemName", "MOVE"}}},
                                       {"reply", {{"status", 2}}}},
                                      {{"command", "component-manual-move"},
                                       {"fields", {{"exclusionList", {uuid}}}},
                                       {"reply", {{"status", 3}}}}}}},
                               {});
  EXPECT_EQ(standin.Client({"start-proactive-rebalance", "60", "0.5"}).exitValue, 1);
  EXPECT_EQ(standin.Client({"start-proactive-rebalance", "60", "0.25"}).exitValue, 0);
  EXPECT_EQ(standin.Client({"enable-workitem", "-i", "MOVE"}).exitValue, 2);
  EXPECT_EQ(standin.Client({"enable-workitem", "-i", "REPAIR"}).exitValue, 0);
  EXPECT_EQ(standin.Client({"component-manual-move", "-u", uuid, "-x", uuid}).exitValue, 3);
  EXPECT_EQ(standin.Client({"component-manual-move", "-u", uuid, "-n", uuid}).exitValue, 0);
}

TEST(Rules, TheLogNamesTheRuleThatReplied) {
  RunningStandin standin(
      Json{{"rules",
            {{{"command", "stats"}}, {{"name", "quiet"}, {"command", "info-owner-rebalance"}}}}},
      {});
  for (const char* const command : {"info-owner-rebalance", "stats", "what-if-cancel"}) {
    EXPECT_EQ(standin.Client({command}).exitValue, 0);
  }
  EXPECT_EQ(standin.NextLine().at("entry"), "quiet");
  EXPECT_EQ(standin.NextLine().at("entry"), "rules/0");
  EXPECT_FALSE(standin.NextLine().contains("entry"));
}

TEST(Rules, HowOftenARuleIsExpectedToReplyIsCheckedAtTheEnd) {
  struct Case {
    Json expect;
    std::string failure;  ///< with one request
  };
  const std::vector<Case> cases = {
      {{{"exactly", 1}}, ""},
      {{{"atLeast", 1}}, ""},
      {{{"atMost", 1}}, ""},
      {{{"exactly", 2}}, "at least 2"},
      {{{"atLeast", 2}, {"atMost", 3}}, "at least 2"},
      {{{"exactly", 0}}, "at most 0"},
  };
  for (const Case& test : cases) {
    RunningStandin standin(
        Json{{"rules", {{{"name", "poll"}, {"command", "stats"}, {"expect", test.expect}}}}}, {});
    EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.exitValue, test.failure.empty() ? 0 : 3);
    EXPECT_EQ(result.err, test.failure.empty()
                              ? ""
                              : "trel-standin: poll (stats) replied to 1 request, " + test.failure +
                                    " expected\n");
  }
}

TEST(Rules, RequestsThatNoRuleMatchesCanBeRefusedAndReportedWithTheNearest) {
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  RunningStandin standin(
      Json{{"unmatched", "refuse"},
           {"rules",
            {{{"command", "enable-workitem"},
              {"fields", {{"workItem", 2}, {"workItemName", "CHANGE"}}}},
             {{"command", "enable-workitem"}, {"fields", {{"workItemName", "MOVE"}}}},
             {{"command", "crawler"}, {"fields", {{"uuid", uuid}}}}}}},
      {});
  EXPECT_EQ(standin.Client({"crawler", "-u", uuid}).exitValue, 0);
  const ProcessResult run = standin.Client({"enable-workitem", "-i", "REPAIR"});
  EXPECT_EQ(run.err, "Error received: Failure: no rule of the script matches the request\n");
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 3);
  EXPECT_EQ(result.err,
            "trel-standin: no rule matches a request of enable-workitem (code 24); "
            "the nearest is rules/1:\n"
            "  workItemName: expected \"MOVE\" (hex 4d4f5645), got \"REPAIR\" (hex 524550414952)\n"
            "the request was:\n"
            "000000 00 00 00 18 00 00 00 04 31 33 00 00\n");
  EXPECT_EQ(result.Events("request").at(1).at("differences").size(), 1U);
}

TEST(Rules, ThoseThatWereNeverUsedAreListedAtTheEnd) {
  RunningStandin standin(
      Json{{"rules", {{{"command", "stats"}}, {{"command", "crawler"}}, {{"name", "last"}}}}}, {});
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.err, "trel-standin: never used: rules/1, last\n");
}

TEST(Rules, ThoseThatAreNeverReachedAreListedByTheCheck) {
  const TempFolder folder;
  // Each of these entries is behind one that matches all that it does.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"rules": [{}, {"command": "stats"}]})", "rules/1 is never reached: rules/0"},
      {R"({"rules": [{"command": "stats"}, {"name": "late", "command": "stats", "when": "a"},
                     {"then": "a"}]})",
       "late is never reached: rules/0"},
      {R"({"rules": [{"reply": {"close": "before-reading"}}, {"command": "stats"}]})",
       "rules/1 is never reached: rules/0"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"matches": "0"}}},
                     {"command": "crawler",
                      "fields": {"uuid": {"matches": "0", "capture": "b"}}}]})",
       "rules/1 is never reached: rules/0"},
      {R"({"sequence": [{"command": "stats", "expect": {"atLeast": 0}}, {"command": "stats"}]})",
       "sequence/1 is never reached: sequence/0"},
      {R"({"sequences": [[{"command": "crawler"}], [{"command": "stats", "expect": {"atLeast": 0}},
                                                    {"command": "stats"}],
                         [{"command": "crawler"}]]})",
       "sequences/1/1 is never reached: sequences/1/0"},
      {R"({"rules": [{"command": "enable-workitem", "fields": {"workItem": {"min": 1, "max": 3}}},
                     {"command": "enable-workitem",
                      "fields": {"workItem": {"max": 3, "min": 1}}}]})",
       "rules/1 is never reached: rules/0"},
      {R"({"rules": [{"command": "enable-workitem", "fields": {"workItem": {"min": 1}}},
                     {"command": "enable-workitem", "fields": {"workItem": {"min": 2}}},
                     {"command": "enable-workitem", "fields": {"workItem": {"max": 3}}},
                     {"command": "enable-workitem", "fields": {"workItem": {"max": 4}}},
                     {"command": "enable-workitem", "fields": {"workItem": 5}},
                     {"command": "enable-workitem", "fields": {"workItem": 6}}]})",
       ""},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"captured": "a"}}},
                     {"command": "crawler", "fields": {"uuid": {"captured": "b"}}},
                     {"command": "crawler", "fields": {"uuid": {"matches": "0", "capture": "a"}}},
                     {"command": "crawler", "fields": {"uuid": {"matches": "1", "capture": "b"}}}]})",
       ""},
      {R"({"sequences": [[{"command": "stats"}], [{"command": "stats"}]]})", ""},
      {R"({"rules": [{"times": 1}, {"command": "stats"}]})", ""},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"decomMode": 1}},
                     {"command": "what-if-upgrade", "fields": {"reason": 1}}]})",
       ""},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"matches": "0"}}},
                     {"command": "crawler", "fields": {"uuid": {"matches": "1"}}}]})",
       ""},
      {R"({"rules": [{"when": "a", "then": "b"}, {"then": "a", "when": "b"}, {}]})", ""},
      {R"({"rules": [{}, {"reply": {"close": "before-reading"}}]})", ""},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"matches": "0"}}},
                     {"command": "crawler"}]})",
       ""},
      {R"({"sequence": [{"command": "stats", "expect": {"atLeast": 0}}, {"command": "crawler"},
                        {"command": "stats"}]})",
       ""},
  };
  for (const auto& [text, entry] : cases) {
    WriteFile(folder / "script", text);
    const ProcessResult run = RunStandin({"--check", "--script", folder / "script"});
    EXPECT_EQ(run.exitValue, entry.empty() ? 0 : 2) << text;
    EXPECT_EQ(run.err,
              entry.empty() ? "" : "trel-standin: " + entry + " matches all that it does\n")
        << text;
  }
}

TEST(Rules, TheLettersOfAUuidMayBeOfEitherCase) {
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  const std::string upper = "00112233-4455-6677-8899-AABBCCDDEEFF";
  const RunningStandin standin(
      Json{{"rules",
            {{{"command", "crawler"}, {"fields", {{"uuid", upper}}}, {"reply", {{"status", 1}}}},
             {{"command", "component-manual-move"},
              {"fields", {{"exclusionList", {upper}}}},
              {"reply", {{"status", 2}}}},
             {{"command", "update-treldb"},
              {"fields", {{"filePath", "/A"}}},
              {"reply", {{"status", 3}}}}}}},
      {});
  EXPECT_EQ(standin.Client({"crawler", "-u", uuid}).exitValue, 1);
  EXPECT_EQ(standin.Client({"component-manual-move", "-u", uuid, "-x", uuid}).exitValue, 2);
  EXPECT_EQ(standin.Client({"update-treldb", "-f", "/a"}).exitValue, 0);
}

TEST(Rules, PayloadsAreTextHexOrAFileThatIsReadAtTheStart) {
  const TempFolder folder;
  std::ofstream(folder / "reply.txt") << "from a file";
  std::ofstream(folder / "script.json")
      << R"({"rules": [{"command": "fitness-stats-get", "reply": {"file": "reply.txt"}},
                       {"command": "fitness-config-get", "reply": {"hex": "41 42 0a"}},
                       {"command": "stats", "reply": {"stream": [
                           {"text": "a"}, {"pause": 5, "hex": "62"}, {"file": "reply.txt"}]}}]})";
  const RunningStandin standin({"--script", folder / "script.json"});
  std::filesystem::remove(folder / "reply.txt");
  EXPECT_EQ(standin.Client({"fitness-stats-get"}).out, "from a file\n");
  EXPECT_EQ(standin.Client({"fitness-config-get"}).out, "AB\n\n");
  EXPECT_EQ(standin.Client({"stats"}).out, "abfrom a file");
}

TEST(Rules, AStatusMayBeWrittenInHexadecimalDigits) {
  const RunningStandin standin(
      Json{{"rules", {{{"reply", {{"status", "0x2bad0005"}, {"text", "disk"}}}}}}}, {});
  const ProcessResult run = standin.Client({"fix-concats"});
  EXPECT_EQ(run.err, "Error received: Input/output error: disk\n");
  EXPECT_EQ(run.exitValue, 5);
}

}  // namespace
}  // namespace tests
