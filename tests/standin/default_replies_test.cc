// The stand-in without a script: what it reads of each command and what it says.

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/command_samples.h"
#include "tests/support/running_standin.h"

namespace tests {
namespace {

constexpr std::uint32_t LAST_OPERATION = 9;

TEST(DefaultReplies, DecodesEveryExampleFieldByField) {
  RunningStandin standin;
  const std::vector<CommandSample> samples = AllSamples();
  for (const CommandSample& sample : samples) {
    const ProcessResult run = standin.Client(sample.words);
    EXPECT_EQ(run.err, "") << sample.name;
    const bool prints = sample.mode == ReplyMode::PRINT || sample.mode == ReplyMode::STREAM;
    EXPECT_EQ(run.out.empty(), !prints) << sample.name;
    EXPECT_TRUE(sample.mode != ReplyMode::PRINT || Json::accept(run.out)) << run.out;
  }
  const std::vector<Json> requests = standin.Stop().Events("request");
  ASSERT_EQ(requests.size(), samples.size());
  std::set<const contract::Payload*> shown;
  for (std::size_t index = 0; index < samples.size(); ++index) {
    const CommandSample& sample = samples[index];
    const Json& line = requests[index];
    EXPECT_EQ(line.at("code"), sample.command->code);
    EXPECT_EQ(line.at("command"), sample.command->word);
    if (!sample.fields.empty()) {
      shown.insert(sample.command->payload);
      EXPECT_EQ(line.at("fields").dump(), sample.fields) << sample.name;
      EXPECT_FALSE(line.contains("warnings")) << line.dump();
    }
  }
  EXPECT_EQ(shown.size(), contract::Get().payloads.size());
}

TEST(DefaultReplies, StreamsTheCrawlerStatesOfAllObjects) {
  const RunningStandin standin;
  EXPECT_EQ(standin.Client({"get-obj-crawler-state", "-a"}).out,
            "6ba7b810-9dad-11d1-80b4-00c04fd430c8 idle\n"
            "6ba7b811-9dad-11d1-80b4-00c04fd430c8 queued\n");
}

TEST(DefaultReplies, SendsNothingForTheCommandsWithoutReply) {
  RunningStandin standin;
  EXPECT_EQ(standin.Exchange(standin::EncodeFrame(30, "")), "");
  EXPECT_EQ(standin.NextLine().at("reply").dump(), R"({"type":"nothing"})");
  EXPECT_EQ(standin.Exchange(standin::EncodeFrame(32, "")), "");
  EXPECT_TRUE(
      SameBytes(FromHex("00000000 00000000"), standin.Exchange(standin::EncodeFrame(29, ""))));
}

TEST(DefaultReplies, RepeatsWhatTheRequestHas) {
  const RunningStandin standin;
  const std::string uuid = "00112233-4455-6677-8899-aabbccddeeff";
  const std::string rest = R"("operation":"REPAIR","result":"done"})";
  EXPECT_EQ(standin.Exchange(standin::EncodeFrame(LAST_OPERATION, uuid)),
            standin::EncodeFrame(0, R"({"uuid":")" + uuid + R"(",)" + rest));
  EXPECT_EQ(standin.Exchange(standin::EncodeFrame(LAST_OPERATION, "short")),
            standin::EncodeFrame(0, "{" + rest));
}

TEST(DefaultReplies, UnknownCodeIsAFailureAndIsWarnedOf) {
  RunningStandin standin;
  EXPECT_TRUE(SameBytes(FromHex("0bad0001 0000000f") + "no such command",
                        standin.Exchange(standin::EncodeFrame(0xffffffff, "x"))));
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("command"), nullptr);
  EXPECT_EQ(line.at("warnings").dump(), R"(["no command has the code 4294967295"])");
}

TEST(DefaultReplies, AnExampleHasItsNumbersInEitherByteOrder) {
  const contract::Example& example = contract::Get().CommandOfCode(10)->examples.at(0);
  EXPECT_TRUE(SameBytes(FromHex("0000000a 00000020 0000000000000e10 3fd3333333333333"
                                "0000000000000708 0000000000000400"),
                        example.Request(std::endian::big)));
  EXPECT_TRUE(SameBytes(FromHex("0000000a 00000020 100e000000000000 333333333333d33f"
                                "0807000000000000 0004000000000000"),
                        example.Request(std::endian::little)));
}

struct Warned {
  unsigned code;
  std::string payload;
  std::string fields;
  std::string warnings;
};

TEST(DefaultReplies, WarnsOfWhatAWellBehavedClientWouldNotSend) {
  // As long as 36 entries, as the daemon counts them.
  const std::string entries(36 * 37 - 1, 'x');
  const std::vector<Warned> cases = {
      {1, "x", "{}", R"(["length 1, at most 0 expected"])"},
      {2, "short", "{}", R"(["length 5, at least 36 expected"])"},
      {2, std::string(36, 'A'), R"({"uuid":")" + std::string(36, 'A') + R"("})",
       R"(["uuid is not a UUID of lower-case digits"])"},
      {2, "g0112233-4455-6677-8899-aabbccddeeff",
       R"({"uuid":"g0112233-4455-6677-8899-aabbccddeeff"})",
       R"(["uuid is not a UUID of lower-case digits"])"},
      {4, "{", R"({"json":"{"})", R"(["json has no terminator","json is not valid JSON"])"},
      {10, Zeros(16) + Zeros(8), R"({"timeSpan":0,"varianceThreshold":0.0,"timeThreshold":0})",
       R"(["length 24, at least 32 expected"])"},
      {10, Zeros(8) + InMemory(std::nan("")) + Zeros(16),
       R"({"timeSpan":0,"varianceThreshold":"nan","timeThreshold":0,"rateThreshold":0})", ""},
      {10, Zeros(8) + InMemory(HUGE_VAL) + Zeros(16),
       R"({"timeSpan":0,"varianceThreshold":"inf","timeThreshold":0,"rateThreshold":0})", ""},
      {10, Zeros(8) + InMemory(-HUGE_VAL) + Zeros(16),
       R"({"timeSpan":0,"varianceThreshold":"-inf","timeThreshold":0,"rateThreshold":0})", ""},
      {16, Zeros(16) + InMemory(1U) + FromHex("01 aabbcc"),
       R"({"uuid":"00000000-0000-0000-0000-000000000000","decomMode":1,)"
       R"("ensureDurability":1,"reserved":"aabbcc"})",
       ""},
      {17, Zeros(28) + InMemory(35U) + entries + Zeros(1),
       R"({"uuid":"00000000-0000-0000-0000-000000000000","decomMode":0,"reason":0,"wipeDisk":0,)"
       R"("uuidCount":35,"uuidList":[")" +
           entries + R"("]})",
       R"(["uuidCount is 35, the list has 36"])"},
      {17, Zeros(28) + InMemory(36U) + entries.substr(1) + Zeros(1),
       R"({"uuid":"00000000-0000-0000-0000-000000000000","decomMode":0,"reason":0,"wipeDisk":0,)"
       R"("uuidCount":36,"uuidList":[")" +
           entries.substr(1) + R"("]})",
       R"(["uuidCount is 36, the list has 35"])"},
      {17, Zeros(28) + InMemory(0U) + "a,b,c" + Zeros(32),
       R"({"uuid":"00000000-0000-0000-0000-000000000000","decomMode":0,"reason":0,"wipeDisk":0,)"
       R"("uuidCount":0,"uuidList":["a","b","c"]})",
       ""},
      {20, std::string("/a\0b\0", 5), R"({"filePath":"/a"})",
       R"(["filePath has bytes after its terminator"])"},
      {24, "7777", R"({"workItem":7777,"workItemName":""})", R"(["workItem has no terminator"])"},
      {24, std::string("4\0\0\0", 4), R"({"workItem":4,"workItemName":""})", ""},
      {25, std::string("4x\0\0", 4), R"({"workItem":"4x","workItemName":""})",
       R"(["workItem is not a number"])"},
      {31, "no colons" + Zeros(1015),
       R"({"eventType":"no colons","eventName":"","entryType":"","entryName":"","uuid":""})",
       R"(["eventType is not a number","entryType is not a number",)"
       R"("uuid is not a UUID of lower-case digits"])"},
      {31, "1:2:a:b" + Zeros(1) + "x" + Zeros(1015),
       R"({"eventType":1,"eventName":"update","entryType":2,"entryName":"object","uuid":"a:b"})",
       R"(["eventType has bytes after its terminator",)"
       R"("uuid is not a UUID of lower-case digits"])"},
  };
  RunningStandin standin;
  for (const Warned& request : cases) {
    (void)standin.Exchange(standin::EncodeFrame(request.code, request.payload));
    const Json line = standin.NextLine();
    EXPECT_EQ(line.at("fields").dump(), request.fields) << line.dump();
    EXPECT_EQ(line.contains("warnings") ? line.at("warnings").dump() : "", request.warnings);
  }
}

TEST(DefaultReplies, HexShowsTheRawBytesOnDemandOnly) {
  RunningStandin plain;
  RunningStandin withHex({"--hex"});
  for (RunningStandin* const standin : {&plain, &withHex}) {
    const bool shown = standin == &withHex;
    (void)standin->Client({"log-level", "02"});
    EXPECT_EQ(standin->NextLine().value("hex", ""), shown ? "00000007000000023032" : "");
    (void)standin->Exchange(standin::EncodeFrame(13, "") + "more");
    EXPECT_EQ(standin->NextLine().value("hex", ""), shown ? "0000000d00000000" : "");
    EXPECT_EQ(standin->NextLine().value("hex", ""), shown ? "6d6f7265" : "");
    (void)standin->Exchange("xx");
    EXPECT_EQ(standin->NextLine().value("hex", ""), shown ? "7878" : "");
  }
}

}  // namespace
}  // namespace tests
