// What scripts can say, each way of saying it with requests that follow it and requests that
// do not.

#include <gtest/gtest.h>

#include "tests/support/running_standin.h"

namespace tests {
namespace {

const std::string ONE = "00112233-4455-6677-8899-aabbccddeeff";
const std::string TWO = "ffeeddcc-bbaa-9988-7766-554433221100";

struct Request {
  std::vector<std::string> words;
  int exitValue;  ///< of the client: the status that the entry's reply has
};

struct Case {
  std::string script;
  std::vector<Request> requests;
  std::string failure = {};  ///< part of the report; empty: the script was followed
};

void Follow(const std::vector<Case>& cases) {
  for (const Case& test : cases) {
    RunningStandin standin(Json::parse(test.script), {});
    for (const Request& request : test.requests) {
      EXPECT_EQ(standin.Client(request.words).exitValue, request.exitValue)
          << test.script << testing::PrintToString(request.words);
    }
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.exitValue, test.failure.empty() ? 0 : 3) << test.script << result.err;
    EXPECT_THAT(result.err, testing::HasSubstr(test.failure)) << test.script;
  }
}

TEST(Language, AGroupInASequenceComesInAnyOrder) {
  const std::string script = R"({"sequence": [
      {"command": "fix-concats"},
      {"anyOrder": [{"command": "stats"}, {"command": "info-owner-rebalance"}]},
      {"command": "what-if-cancel"}]})";
  const Request first = {{"fix-concats"}, 0};
  const Request stats = {{"stats"}, 0};
  const Request info = {{"info-owner-rebalance"}, 0};
  const Request last = {{"what-if-cancel"}, 0};
  Follow({
      {script, {first, stats, info, last}},
      {script, {first, info, stats, last}},
      {script,
       {first, info, {{"what-if-cancel"}, 1}},
       "request 3 is not the one that the script expects:\n"
       "  command: expected info-owner-rebalance or stats, got what-if-cancel (code 18)\n"},
      {script, {first, info, {{"info-owner-rebalance"}, 1}}, "  it may reply no more\n"},
      {R"({"sequence": [{"anyOrder": [{}, {"command": "stats"}]}]})",
       {first, {{"fix-concats"}, 1}},
       "command: expected any or stats, got fix-concats (code 13)\n"},
      {script,
       {first, info},
       "sequence/1/0 (stats) replied to 0 requests, at least 1 expected\n"
       "sequence/2 (what-if-cancel) replied to 0 requests, at least 1 expected\n"},
  });
}

TEST(Language, AnEntryOfASequenceComesAsOftenAsItExpects) {
  const std::string script = R"({"sequence": [
      {"command": "stats", "expect": {"atMost": 2}},
      {"name": "poll", "command": "info-owner-rebalance", "expect": {"atLeast": 2}},
      {"command": "what-if-cancel"}]})";
  const Request stats = {{"stats"}, 0};
  const Request poll = {{"info-owner-rebalance"}, 0};
  const Request last = {{"what-if-cancel"}, 0};
  const Request tooEarly = {{"what-if-cancel"}, 1};
  Follow({
      {script, {poll, poll, last}},
      {script, {stats, stats, poll, poll, poll, last}},
      {script, {stats, poll, tooEarly}, "request 3 is not the one"},
      {script, {poll, poll, last, {{"stats"}, 0}}, "request 4 is not the one"},
      {R"({"rules": [{"expect": {"atLeast": 1}}]})",
       {},
       "rules/0 (any command) replied to 0 requests, at least 1 expected"},
      {script, {poll}, "poll (info-owner-rebalance) replied to 1 request, at least 2 expected"},
  });
  RunningStandin standin(Json::parse(script), {});
  for (const Request& request : {poll, poll, last}) {
    EXPECT_EQ(standin.Client(request.words).exitValue, 0);
  }
  EXPECT_EQ(standin.Stop().err,
            "trel-standin: the script was followed: 3 requests; never used: sequence/0\n");
}

TEST(Language, SequencesSideBySideKeepEachItsOwnOrder) {
  const std::string script = R"({"sequences": [
      [{"command": "fix-concats"}, {"command": "info-owner-rebalance"}],
      [{"command": "stats"}, {"command": "what-if-cancel"}]]})";
  const Request fix = {{"fix-concats"}, 0};
  const Request info = {{"info-owner-rebalance"}, 0};
  const Request stats = {{"stats"}, 0};
  const Request cancel = {{"what-if-cancel"}, 0};
  Follow({
      {script, {fix, info, stats, cancel}},
      {script, {stats, fix, cancel, info}},
      {script,
       {stats, {{"info-owner-rebalance"}, 1}},
       "expected fix-concats or what-if-cancel, got info-owner-rebalance"},
      {script,
       {stats, fix, cancel},
       "trel-standin: sequences/0/1 (info-owner-rebalance) replied to 0 requests, at least 1 "
       "expected"},
  });
}

TEST(Language, AFieldMatchesAnExpressionARangeASetOrAnything) {
  // A rule per matcher: what it matches gets the status 1, all else is refused.
  const auto script = [](const std::string& command, const std::string& fields) {
    return R"({"unmatched": "refuse", "rules": [{"command": ")" + command + R"(", "fields": )" +
           fields + R"(, "reply": {"status": 2}}]})";
  };
  const std::string range = script("start-proactive-rebalance",
                                   R"({"timeSpan": {"min": 60, "max": 90},
                                       "varianceThreshold": {"max": 0.5}})");
  const std::string whole =
      script("start-proactive-rebalance", R"({"timeSpan": 60, "varianceThreshold": 1})");
  const std::string mixed = script("start-proactive-rebalance",
                                   R"({"timeSpan": {"min": 9007199254740993},
                                       "varianceThreshold": {"min": 0, "max": 1}})");
  const std::string set = script("enable-workitem", R"({"workItem": {"oneOf": [2, 7]}})");
  const std::string text = script("update-treldb", R"({"filePath": {"matches": "^/a.*z$"}})");
  const std::string uuid = script("crawler", R"({"uuid": {"oneOf": ["FFEEDDCC-BBAA-9988-7766-)"
                                             R"(554433221100"]}})");
  const std::string list =
      script("component-manual-move", R"({"exclusionList": {"matches": "^f.{35},0.{35}$"}})");
  const std::string any = script("component-manual-move", R"({"uuid": {"any": true}})");
  Follow({
      {range, {{{"start-proactive-rebalance", "60", "0.5"}, 2}}},
      {range, {{{"start-proactive-rebalance", "90", "0"}, 2}}},
      {range,
       {{{"start-proactive-rebalance", "59", "0.5"}, 1}},
       "timeSpan: expected at least 60 and at most 90, got 59\n"},
      {range, {{{"start-proactive-rebalance", "91", "0.5"}, 1}}, "got 91\n"},
      {range,
       {{{"start-proactive-rebalance", "60", "0.75"}, 1}},
       "varianceThreshold: expected at most 0.5, got 0.75\n"},
      {mixed, {{{"start-proactive-rebalance", "9007199254740993", "0.75"}, 2}}},
      {mixed,
       {{{"start-proactive-rebalance", "9007199254740992", "0.75"}, 1}},
       "timeSpan: expected at least 9007199254740993, got 9007199254740992\n"},
      {whole, {{{"start-proactive-rebalance", "60", "1"}, 2}}},
      {set, {{{"enable-workitem", "-i", "MOVE"}, 2}}},
      {set, {{{"enable-workitem", "-i", "CHANGE"}, 1}}, "workItem: expected 2 or 7, got 14\n"},
      {text, {{{"update-treldb", "-f", "/a/b/z"}, 2}}},
      {text,
       {{{"update-treldb", "-f", "/b/z"}, 1}},
       "filePath: expected a match of \"^/a.*z$\", got \"/b/z\" (hex 2f622f7a)\n"},
      {uuid, {{{"crawler", "-u", TWO}, 2}}},
      {uuid, {{{"crawler", "-u", ONE}, 1}}, "uuid: expected \"FFEEDDCC-"},
      {list, {{{"component-manual-move", "-u", ONE, "-x", TWO + "," + ONE}, 2}}},
      {list, {{{"component-manual-move", "-u", ONE, "-x", ONE + "," + TWO}, 1}}, "a match of"},
      {any, {{{"component-manual-move", "-u", ONE, "-x", TWO}, 2}}},
  });
}

TEST(Language, AnExpressionThatTheLibraryWouldWriteOutTooLongIsRefused) {
  const TempFolder folder;
  const std::string tooLarge = "is too large an expression, or repeats too much";
  const std::string invalid = "is no extended regular expression: ";
  // Its size is 99724, as the reader reckons.
  const std::string large = "((a{9,99}b+{2}){,3}c{20,}+){213}";
  const std::pair<std::string, std::string> cases[] = {
      {"((((a{1,200}){200}){200,}))", tooLarge},
      {std::string(20, '(') + "a+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)+)", tooLarge},
      {"+" + large + std::string(276, 'x'), invalid + "Invalid preceding regular expression"},
      {large + std::string(277, 'x'), tooLarge},
      {std::string(999, 'x') + ")", ""},
      {std::string(1001, 'x'), tooLarge},
      {"a{400}{400}", tooLarge},
      {"a{400}*{400}", tooLarge},
      {"a{400}?{400}", tooLarge},
      {"a{400}{400}{-160000}", tooLarge},
      {"a{400}{400}{nan}", tooLarge},
      {"a{400}{400}(){inf}", tooLarge},
      {R"((a{400}\\(){400})", tooLarge},
      {R"((a\\){400}){200})", ""},
      {"(a{400}[(]){400}", tooLarge},
      {"(a{400}[](]){400}", tooLarge},
      {"(a{400}[^](]){400}", tooLarge},
      {"(a{400}[[:digit:](]){400}", tooLarge},
      {"(a{400}[[.-.](]){400}", tooLarge},
      {"(a{400}[[=a=](]){400}", tooLarge},
      {"(a{400}[[](]){400}", invalid + "Unmatched ( or \\("},
      {"[x]a{400}{400}[y]", tooLarge},
      {"[]]a{400}{400}[y]", tooLarge},
      {"[x:y]a{400}{400}[z:]", tooLarge},
      {R"((a{400}[\u0001(]){400})", tooLarge},
      {"(a{400}[[::](]){400}:]", tooLarge},
      {"(a{400}[[:](]:]){400}", invalid + "Invalid character class name"},
      {"[^x]a{400}{400}[y]", tooLarge},
      {"[[:digit:]]a{400}{400}[y]", tooLarge},
      {"[a{400}]{400}", ""},
      {"[a", invalid + "Unmatched [, [^, [:, [., or [="},
      {"[^a", invalid + "Unmatched [, [^, [:, [., or [="},
      {"[[:", invalid + "Unmatched [, [^, [:, [., or [="},
      {R"(\\)", invalid + "Trailing backslash"},
  };
  for (const auto& [expression, why] : cases) {
    WriteFile(folder / "script",
              R"({"rules": [{"command": "crawler", "fields": {"uuid": {"matches": ")" + expression +
                  R"("}}}]})");
    const ProcessResult run = RunStandin({"--check", "--script", folder / "script"});
    EXPECT_EQ(run.exitValue, why.empty() ? 0 : 2) << expression;
    EXPECT_EQ(run.err, why.empty() ? ""
                                   : "trel-standin: " + (folder / "script") +
                                         "/rules/0/fields/uuid/matches: " + why + "\n")
        << expression;
  }
}

TEST(Language, AValueThatOneEntryCapturesIsRequiredByAnother) {
  const std::string rules = R"({"unmatched": "refuse", "rules": [
      {"command": "crawler", "fields": {"uuid": {"capture": "id"}}},
      {"command": "info-rebalance", "fields": {"uuid": {"captured": "id"}}}]})";
  const std::string sequence = R"({"sequence": [
      {"command": "crawler", "fields": {"uuid": {"capture": "id", "matches": "^0"}}},
      {"command": "info-rebalance", "fields": {"uuid": {"captured": "id"}}}]})";
  Follow({
      {rules,
       {{{"crawler", "-u", ONE}, 0},
        {{"info-rebalance", "-u", ONE}, 0},
        {{"crawler", "-u", TWO}, 0},
        {{"info-rebalance", "-u", TWO}, 0}}},
      {rules,
       {{{"crawler", "-u", ONE}, 0}, {{"info-rebalance", "-u", TWO}, 1}},
       "uuid: expected the captured id, \"00112233-4455-6677-8899-aabbccddeeff\""},
      {rules,
       {{{"info-rebalance", "-u", ONE}, 1}},
       "uuid: expected the captured id, not captured yet, got "},
      {sequence, {{{"crawler", "-u", ONE}, 0}, {{"info-rebalance", "-u", ONE}, 0}}},
      {sequence, {{{"crawler", "-u", TWO}, 1}}, "expected a match of \"^0\""},
      {sequence, {{{"crawler", "-u", ONE}, 0}, {{"info-rebalance", "-u", TWO}, 1}}, "captured id"},
      {R"({"sequence": [
           {"command": "component-manual-move", "fields": {"exclusionList": {"capture": "list"}}},
           {"command": "crawler", "fields": {"uuid": {"captured": "list"}}}]})",
       {{{"component-manual-move", "-u", ONE, "-x", TWO}, 0}, {{"crawler", "-u", TWO}, 1}},
       "uuid: expected the captured list, [\"ffeeddcc-bbaa-9988-7766-554433221100\"], got \"ffee"},
  });
}

TEST(Language, ARuleHoldsInItsStateAndSetsTheNext) {
  const std::string script = R"({"state": "idle", "unmatched": "refuse", "rules": [
      {"command": "start-proactive-rebalance", "when": "idle", "then": "running"},
      {"command": "info-proactive-rebalance", "when": "running", "times": 2,
       "reply": {"status": 2}},
      {"command": "info-proactive-rebalance", "when": "running", "then": "idle",
       "reply": {"status": 3}}]})";
  const Request start = {{"start-proactive-rebalance"}, 0};
  const Request running = {{"info-proactive-rebalance"}, 2};
  const Request done = {{"info-proactive-rebalance"}, 3};
  Follow({
      {script, {start, running, running, done}},
      // How often a rule may reply is counted anew in a state that is entered again.
      {script, {start, running, running, done, start, running, running, done}},
      {script,
       {{{"info-proactive-rebalance"}, 1}},
       "the nearest is rules/1:\n  state: expected running, it is idle\n"},
      {script, {start, {{"start-proactive-rebalance"}, 1}}, "state: expected idle, it is running"},
      {R"({"unmatched": "refuse", "rules": [{"command": "stats", "then": "b"},
                                            {"command": "fix-concats", "when": "b"}]})",
       {{{"fix-concats"}, 1}},
       "state: expected b, it is none\n"},
      // A rule of all states is counted once for all.
      {R"({"unmatched": "reply",
           "rules": [{"command": "info-proactive-rebalance", "times": 1, "reply": {"status": 2}},
                     {"command": "fix-concats", "then": "b"}]})",
       {running, {{"fix-concats"}, 0}, {{"info-proactive-rebalance"}, 0}}},
      // Neither does a rule that needs no request hold in another state.
      {R"({"state": "a", "rules": [{"when": "b", "reply": {"close": "before-reading"}},
                                   {"command": "fix-concats", "then": "b"}]})",
       {{{"fix-concats"}, 0}}},
  });
}

}  // namespace
}  // namespace tests
