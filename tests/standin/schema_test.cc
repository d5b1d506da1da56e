// The installed schema and the script reader accept and refuse the same scripts.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/running_standin.h"

namespace tests {
namespace {

struct ScriptCase {
  std::string text;
  std::string refusal;  ///< after the file's name; empty: accepted
};

const std::vector<ScriptCase>& Scripts() {
  static const std::vector<ScriptCase> CASES = {
      {R"({"rules": []})", ""},
      {R"({"sequence": []})", ""},
      {R"({"$schema": "trel-standin-script.schema.json", "rules": [{}]})", ""},
      {R"({"rules": [{"reply": {}}]})", ""},
      {R"({"rules": [{"reply": {"status": "0x2bad0005", "hex": "00 ff", "length": 0}}]})", ""},
      {R"({"rules": [{"command": "crawler", "fields": {}, "times": 1}]})", ""},
      {R"({"rules": [{"command": "block-cdb-cb", "fields": {"eventName": "add", "entryName": ""}}]})",
       ""},
      {R"({"rules": [{"command": "start-proactive-rebalance",
                      "fields": {"varianceThreshold": "nan",
                                 "timeSpan": {"oneOf": [0, 18446744073709551615]}}}]})",
       ""},
      {R"({"rules": [{"command": "log-level", "fields": {"level": "a\u0000b"}}]})", ""},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"uuidList": ["a"]}}]})", ""},
      {R"({"sequence": [{"reply": {"close": "before-reading", "delay": 5}}]})", ""},
      {R"({"sequence": [{"command": "stats", "reply": {"close": "after-header"}}]})", ""},
      {R"({"rules": [{"reply": {"stream": [{"pause": 1}, {"text": "a"}], "bytewise": true}}]})",
       ""},
      {R"({"rules": [{"reply": {"silent": true}}]})", ""},
      {R"({"rules": [{"reply": {"cutHeader": 7, "cutPayload": 0, "length": 4294967295,
                                "status": "0x5"}}]})",
       ""},
      {R"({"unmatched": "refuse", "rules": [{"name": "one", "expect": {"exactly": 0}}]})", ""},
      {R"({"unmatched": "reply", "rules": [{"expect": {"atLeast": 1, "atMost": 2}, "times": 1}]})",
       ""},
      {R"({"sequence": [{"name": "first", "command": "stats"}]})", ""},
      {R"({"rules": [{"reply": {"forward": true, "delay": 1, "cutPayload": 2}}]})", ""},
      {R"({"rules": [{"reply": {"forward": false}}]})", "/rules/0/reply/forward: must be true"},
      {R"({"sequence": [{"anyOrder": [{"command": "stats"}, {"expect": {"atMost": 3}}]}]})", ""},
      {R"({"sequences": [[{"command": "stats"}], [{"anyOrder": []}]]})", ""},
      {R"({"state": "a", "rules": [{"when": "a", "then": "b"}, {"when": "b"}]})", ""},
      {R"({"rules": [{"command": "crawler",
                      "fields": {"uuid": {"matches": "^00", "capture": "id"}}}]})",
       ""},
      {R"({"rules": [{"command": "start-proactive-rebalance",
                      "fields": {"varianceThreshold": {"min": 0, "max": 0.5, "oneOf": ["inf", "-inf"]},
                                 "timeSpan": {"min": 60, "max": 60},
                                 "timeThreshold": {"any": true}}}]})",
       ""},
      {R"({"rules": [{"command": "what-if-upgrade",
                      "fields": {"uuidList": {"oneOf": [["a"], []]}}}]})",
       ""},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"captured": "id"}}},
                     {"command": "info-rebalance", "fields": {"uuid": {"capture": "id"}}}]})",
       ""},

      {R"({"sequence": [{"anyOrder": [
              {"command": "crawler", "fields": {"uuid": {"captured": "id"}}},
              {"command": "info-rebalance", "fields": {"uuid": {"capture": "id"}}}]}]})",
       ""},
      {R"({"state": "a", "rules": [{"when": "a", "then": "b", "times": 1,
                                    "expect": {"exactly": 2}}, {"when": "b", "then": "a"}]})",
       ""},

      {R"({"sequence": [{"anyOrder": [], "name": "x"}]})",
       "/sequence/0: unknown member \"name\", known are: anyOrder"},
      {R"({"sequence": [{"anyOrder": [{"anyOrder": []}]}]})",
       "/sequence/0/anyOrder/0: unknown member \"anyOrder\", known are: name, command, fields, "
       "reply, expect"},
      {R"({"sequences": [{}]})", "/sequences/0: must be an array"},
      {R"({"rules": [{"name": ""}]})", "/rules/0/name: must be a name"},
      {R"({"rules": [{"then": ""}]})", "/rules/0/then: must be a name"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": "*"}}]})",
       "/rules/0/fields/uuid: must be a UUID, such as 00112233-4455-6677-8899-aabbccddeeff"},
      {R"({"rules": [{"command": "what-if-entity-decom", "fields": {"uuid": "0"}}]})",
       "/rules/0/fields/uuid: must be a UUID, such as 00112233-4455-6677-8899-aabbccddeeff"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"oneOf": ["*"]}}}]})",
       "/rules/0/fields/uuid/oneOf/0: must be a UUID, such as "
       "00112233-4455-6677-8899-aabbccddeeff"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"oneOf": []}}}]})",
       "/rules/0/fields/uuid/oneOf: can never match: it is empty"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {}}}]})",
       "/rules/0/fields/uuid: has no condition; any value is {\"any\": true}"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"any": false}}}]})",
       "/rules/0/fields/uuid/any: must be true"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"min": 1}}}]})",
       "/rules/0/fields/uuid: unknown member \"min\", known are: any, oneOf, matches, capture, "
       "captured"},
      {R"({"rules": [{"command": "enable-workitem", "fields": {"workItem": {"matches": "1"}}}]})",
       "/rules/0/fields/workItem: unknown member \"matches\", known are: any, oneOf, min, max, "
       "capture, captured"},
      {R"({"rules": [{"command": "enable-workitem", "fields": {"workItem": 10000}}]})",
       "/rules/0/fields/workItem: must be a whole number from 0 to 9999"},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"wipeDisk": {"max": 256}}}]})",
       "/rules/0/fields/wipeDisk/max: must be a whole number from 0 to 255"},
      {R"({"rules": [{"command": "start-proactive-rebalance",
                      "fields": {"varianceThreshold": {"min": "nan"}}}]})",
       "/rules/0/fields/varianceThreshold/min: must be a number"},
      {R"({"rules": [{"command": "block-cdb-cb", "fields": {"eventName": "ad"}}]})",
       "/rules/0/fields/eventName: must be empty or one of update, add, delete"},
      {R"({"rules": [{"command": "update-treldb", "fields": {"filePath": "a\u0000b"}}]})",
       "/rules/0/fields/filePath: must have no zero byte: it would end the text"},
      {R"({"rules": [{"command": "update-treldb", "fields": {"filePath": {"matches": "a\u0000b"}}}]})",
       "/rules/0/fields/filePath/matches: must have no zero byte"},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"uuidList": ["a,b"]}}]})",
       "/rules/0/fields/uuidList/0: must have no comma and no zero byte: they end an item"},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"uuidList": ["a\u0000b"]}}]})",
       "/rules/0/fields/uuidList/0: must have no comma and no zero byte: they end an item"},

      {R"({"rules": [], "unmatched": "drop"})", "/unmatched: must be reply or refuse"},
      {R"({"sequence": [], "unmatched": "refuse"})", ": unmatched and state belong to rules"},
      {R"({"sequences": [], "state": "a"})", ": unmatched and state belong to rules"},
      {R"({"rules": [{"expect": {}}]})",
       "/rules/0/expect: must have exactly, or atLeast, atMost or both"},
      {R"({"rules": [{"expect": {"exactly": 1, "often": 2}}]})",
       "/rules/0/expect: unknown member \"often\", known are: exactly, atLeast, atMost"},
      {R"({"rules": [{"expect": {"exactly": 1, "atMost": 2}}]})",
       "/rules/0/expect: must have exactly, or atLeast, atMost or both"},
      {R"({"rules": [{"name": 1}]})", "/rules/0/name: must be a text"},
      {R"([])", ": must be an object"},
      {R"({"$schema": 1, "rules": []})", "/$schema: must be a text"},
      {R"({})", ": must have one of rules, sequence and sequences"},
      {R"({"rules": [], "sequence": []})", ": must have one of rules, sequence and sequences"},
      {R"({"rules": {}})", "/rules: must be an array"},
      {R"({"rule": []})",
       ": unknown member \"rule\", known are: $schema, rules, sequence, sequences, "
       "unmatched, state"},
      {R"({"rules": [{"comand": "stats"}]})",
       "/rules/0: unknown member \"comand\", known are: name, command, fields, reply, when, "
       "then, times, expect"},
      {R"({"sequence": [{"times": 1}]})",
       "/sequence/0: unknown member \"times\", known are: name, command, fields, reply, expect"},
      {R"({"rules": [{"command": "stat"}]})", "/rules/0/command: no command is called \"stat\""},
      {R"({"rules": [{"command": 1}]})", "/rules/0/command: must be a text"},
      {R"({"rules": [{"fields": {}}]})", "/rules/0/fields: needs a command beside it"},
      {R"({"rules": [{"command": "stats", "fields": {"uuid": "x"}}]})",
       "/rules/0/fields/uuid: stats has no field of this name, but none"},
      {R"({"rules": [{"command": "enable-workitem", "fields": {"work": 1}}]})",
       "/rules/0/fields/work: enable-workitem has no field of this name, but workItem, "
       "workItemName"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": 1}}]})",
       "/rules/0/fields/uuid: must be a text"},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"reason": -1}}]})",
       "/rules/0/fields/reason: must be a whole number from 0 to 4294967295"},
      {R"({"rules": [{"command": "what-if-upgrade", "fields": {"uuidList": "a"}}]})",
       "/rules/0/fields/uuidList: must be an array"},
      {R"({"rules": [{"command": "start-proactive-rebalance",
                      "fields": {"varianceThreshold": "much"}}]})",
       "/rules/0/fields/varianceThreshold: must be a number, or nan, inf or -inf as a text"},
      {R"({"rules": [{"times": 0}]})",
       "/rules/0/times: must be a whole number from 1 to 4294967295"},
      {R"({"rules": [{"reply": {"status": 4294967296}}]})",
       "/rules/0/reply/status: must be a whole number from 0 to 4294967295"},
      {R"({"rules": [{"reply": {"status": "0x"}}]})",
       "/rules/0/reply/status: must be 0x and one to eight hexadecimal digits"},
      {R"({"rules": [{"reply": {"status": "1x5"}}]})",
       "/rules/0/reply/status: must be 0x and one to eight hexadecimal digits"},
      {R"({"rules": [{"reply": {"status": "0xg"}}]})",
       "/rules/0/reply/status: must be 0x and one to eight hexadecimal digits"},
      {R"({"rules": [{"reply": {"status": "0x123456789"}}]})",
       "/rules/0/reply/status: must be 0x and one to eight hexadecimal digits"},
      {R"({"rules": [{"reply": {"text": "a", "hex": "00"}}]})",
       "/rules/0/reply: only one of text, file and hex"},
      {R"({"rules": [{"reply": {"file": "a", "hex": "00"}}]})",
       "/rules/0/reply: only one of text, file and hex"},
      {R"({"rules": [{"reply": {"hex": "0"}}]})",
       "/rules/0/reply/hex: an odd number of hexadecimal digits"},
      {R"({"rules": [{"reply": {"hex": "0g"}}]})",
       "/rules/0/reply/hex: not a hexadecimal digit: g"},
      {R"({"rules": [{"reply": {"hex": "000-"}}]})",
       "/rules/0/reply/hex: not a hexadecimal digit: -"},
      {R"({"rules": [{"reply": {"cutHeader": 8}}]})",
       "/rules/0/reply/cutHeader: must be a whole number from 0 to 7"},
      {R"({"rules": [{"reply": {"bytewise": 1}}]})",
       "/rules/0/reply/bytewise: must be true or false"},
      {R"({"rules": [{"reply": {"delay": 86400001}}]})",
       "/rules/0/reply/delay: must be a whole number from 0 to 86400000"},
      {R"({"rules": [{"reply": {"state": 1}}]})",
       "/rules/0/reply: unknown member \"state\", known are: delay, status, text, file, hex, "
       "length, cutHeader, cutPayload, bytewise, forward"},
      {R"({"rules": [{"reply": {"close": "now"}}]})",
       "/rules/0/reply/close: must be before-reading, after-header or after-request"},
      {R"({"rules": [{"reply": {"close": "after-request", "status": 1}}]})",
       "/rules/0/reply: unknown member \"status\", known are: delay, close"},
      {R"({"rules": [{"reply": {"silent": false}}]})", "/rules/0/reply/silent: must be true"},
      {R"({"rules": [{"reply": {"silent": true, "delay": 1}}]})",
       "/rules/0/reply: unknown member \"delay\", known are: silent"},
      {R"({"rules": [{"reply": {"stream": [{"status": 1}]}}]})",
       "/rules/0/reply/stream/0: unknown member \"status\", known are: pause, text, file, hex"},
      {R"({"rules": [{"reply": {"stream": [], "status": 1}}]})",
       "/rules/0/reply: unknown member \"status\", known are: delay, stream, bytewise"},
      {R"({"rules": [{"command": "stats", "reply": {"close": "before-reading"}}]})",
       "/rules/0: close before-reading comes before the command is known"},
      {R"({"rules": [{"command": "crawler", "fields": {},
                      "reply": {"close": "after-header"}}]})",
       "/rules/0: close after-header comes before the fields are known"},
  };
  return CASES;
}

std::vector<std::string> SchemaVerdicts(const TempFolder& folder,
                                        const std::vector<std::string>& scripts) {
  std::vector<std::string> words = {"/usr/bin/python3",
                                    TREL_SOURCE_DIR "/tests/standin/validate_scripts.py",
                                    TREL_SOURCE_DIR "/generated/trel-standin-script.schema.json"};
  for (std::size_t index = 0; index < scripts.size(); ++index) {
    words.push_back(folder / std::to_string(index));
    std::ofstream(words.back()) << scripts[index];
  }
  const ProcessResult run = RunProcess({.arguments = words});
  EXPECT_EQ(run.err, "");
  std::vector<std::string> verdicts;
  std::istringstream lines(run.out);
  for (std::string line; std::getline(lines, line);) {
    verdicts.push_back(line);
  }
  return verdicts;
}

TEST(Schema, AndTheReaderAgreeOnEveryScript) {
  const TempFolder folder;
  std::vector<std::string> texts;
  for (const ScriptCase& script : Scripts()) {
    texts.push_back(script.text);
  }
  const std::vector<std::string> verdicts = SchemaVerdicts(folder, texts);
  ASSERT_EQ(verdicts.size(), texts.size());
  for (std::size_t index = 0; index < texts.size(); ++index) {
    const std::string& refusal = Scripts()[index].refusal;
    const std::string path = folder / std::to_string(index);
    EXPECT_EQ(verdicts[index], refusal.empty() ? "valid" : "invalid") << texts[index];
    const ProcessResult run = RunStandin({"--check", "--script", path});
    EXPECT_EQ(run.exitValue, refusal.empty() ? 0 : 2) << texts[index];
    EXPECT_EQ(run.err, refusal.empty() ? "" : "trel-standin: " + path + refusal + "\n");
  }
}

TEST(Schema, AcceptsEveryExampleOfTheManual) {
  const TempFolder folder;
  std::vector<std::string> examples;
  bool inside = false;
  std::ifstream page(TREL_SOURCE_DIR "/docs/standin.md");
  for (std::string line; std::getline(page, line);) {
    if (line == "```json") {
      inside = true;
      examples.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      examples.back() += line + "\n";
    }
  }
  EXPECT_GE(examples.size(), 3U);
  EXPECT_THAT(SchemaVerdicts(folder, examples), testing::Each("valid"));
  for (std::size_t index = 0; index < examples.size(); ++index) {
    const ProcessResult run = RunStandin({"--check", "--script", folder / std::to_string(index)});
    EXPECT_EQ(run.exitValue, 0) << run.err;
  }
}

TEST(Schema, TextThatIsNoJsonIsRefusedWithItsPlace) {
  const TempFolder folder;
  std::ofstream(folder / "script") << "{\n  \"rules\": [,]\n}\n";
  const ProcessResult run = RunStandin({"--check", "--script", folder / "script"});
  EXPECT_EQ(run.exitValue, 2);
  EXPECT_THAT(run.err, testing::HasSubstr("line 2, column 13"));
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int count = 0; count < times; ++count) {
    all += text;
  }
  return all;
}

std::string ManyMembers(int count) {
  std::string all;
  for (int member = 0; member < count; ++member) {
    all += (member > 0 ? ",\"" : "\"") + std::to_string(member) + "\":0";
  }
  return all;
}

TEST(Schema, WhatNoSchemaSeesIsRefusedToo) {
  const TempFolder folder;
  const std::string object = ": must be an object";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"rules": [], "rules": []})", ": two members are called \"rules\""},
      {Repeated("[", 100) + Repeated("]", 100), object},
      {std::string(3000000, '['), ": more than 100 levels of brackets"},
      {R"({"rules": [{"expect": {"atLeast": 2, "atMost": 1}}]})",
       "/rules/0/expect: can never be met"},
      {R"({"rules": [{"expect": {"exactly": 2}, "times": 1}]})",
       "/rules/0/expect: can never be met"},
      {R"({"sequence": [{"expect": {"exactly": 0}}]})",
       "/sequence/0/expect: can never match: no request is expected"},
      {R"({"rules": [{"when": "done"}, {"then": "running"}]})",
       ": rules/0 can never match: nothing sets the state done"},
      {R"({"sequence": [{"command": "crawler", "fields": {"uuid": {"captured": "id"}}},
                        {"command": "crawler", "fields": {"uuid": {"capture": "id"}}}]})",
       ": sequence/0 can never match: no entry before it captures id"},
      {R"({"rules": [{"command": "crawler",
                      "fields": {"uuid": {"captured": "id", "capture": "id"}}}]})",
       ": rules/0 can never match: no entry before it captures id"},
      {R"({"rules": [{"command": "crawler", "fields": {"uuid": {"matches": "("}}}]})",
       "/rules/0/fields/uuid/matches: is no extended regular expression: Unmatched ( or \\("},
      {R"({"rules": [{"command": "enable-workitem",
                      "fields": {"workItem": {"min": 2, "max": 1}}}]})",
       "/rules/0/fields/workItem: can never match: max is less than min"},
      {R"({"rules": []})" + std::string("\0{}", 3), ": a zero byte after 13 bytes"},
      {"[" + Repeated("0,", 249998) + "0]", object},
      {"[" + Repeated("0,", 249999) + "0]", ": more than 250000 values"},
      {"[{" + ManyMembers(1000) + "}]", object},
      {"{" + ManyMembers(1001) + "}", ": an object of more than 1000 members"},
      {R"({"rules": [{"times": 1e999}]})", ": number overflow parsing '1e999'"},
      {"{\"rules\": " + Repeated("9", 1000000) + "}",
       ": number overflow parsing '" + Repeated("9", 175)},
      {R"({"rules": [{"when": "x"})" + Repeated(",{}", 9999) + "]}",
       ": rules/0 can never match: nothing sets the state x"},
      {"{\"rules\": [" + Repeated("{},", 10000) + "{}]}", ": has more than 10000 entries"},
  };
  for (const auto& [text, refusal] : cases) {
    WriteFile(folder / "script", text);
    const ProcessResult run = RunStandin({"--check", "--script", folder / "script"});
    EXPECT_EQ(run.exitValue, refusal.empty() ? 0 : 2);
    EXPECT_EQ(run.err,
              refusal.empty() ? "" : "trel-standin: " + (folder / "script") + refusal + "\n");
  }
}

TEST(Schema, AScriptOrPayloadFileThatCannotBeReadIsRefused) {
  const TempFolder folder;
  for (const auto& [name, why] : {std::pair("none", "opened"), std::pair(".", "read")}) {
    const ProcessResult run = RunStandin({"--check", "--script", folder / name});
    EXPECT_EQ(run.exitValue, 2);
    EXPECT_EQ(run.err, "trel-standin: " + (folder / name) + ": cannot be " + why + "\n");
  }
  std::ofstream(folder / "long").close();
  for (const auto& [size, why] : {std::pair(64U << 20U, "a zero byte after 0 bytes"),
                                  std::pair((64U << 20U) + 1, "is longer than 64 MiB")}) {
    std::filesystem::resize_file(folder / "long", size);
    EXPECT_EQ(RunStandin({"--check", "--script", folder / "long"}).err,
              "trel-standin: " + (folder / "long") + ": " + why + "\n");
  }
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const auto& [name, size] :
       {std::pair("largest", 128U << 20U), std::pair("large", (128U << 20U) + 1)}) {
    std::ofstream(folder / name).close();
    std::filesystem::resize_file(folder / name, size);
  }
  const std::pair<std::string, std::string> cases[] = {
      {"none", "cannot read the file " + (folder / "none")},
      {".", "cannot read the file " + (folder / ".")},
      {"fifo", "cannot read the file " + (folder / "fifo")},
      {"/dev/zero", "cannot read the file /dev/zero"},
      {"large", "the file " + (folder / "large") + " is longer than 128 MiB"},
      {"largest", ""},
  };
  for (const auto& [name, why] : cases) {
    WriteFile(folder / "script", R"({"rules": [{"reply": {"file": ")" + name + "\"}}]}");
    const ProcessResult run = RunStandin({"--check", "--script", folder / "script"});
    EXPECT_EQ(run.exitValue, why.empty() ? 0 : 2);
    EXPECT_EQ(run.err, why.empty() ? ""
                                   : "trel-standin: " + (folder / "script") +
                                         "/rules/0/reply/file: " + why + "\n");
  }
}

}  // namespace
}  // namespace tests
