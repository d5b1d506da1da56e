// Each fault that a script can ask for, as the client sees it.

#include <gtest/gtest.h>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

Json Always(const Json& reply) { return {{"rules", {{{"reply", reply}}}}}; }

constexpr char INCOMPLETE[] = "Failed to receive the complete UDS message sent. Please try again";

TEST(Faults, CloseBeforeReadingIsTriedWithBothSends) {
  RunningStandin standin(Always({{"close", "before-reading"}}), {});
  const ProcessResult run = standin.Client({"crawler", "-a"});
  EXPECT_THAT(run.exitValue, testing::AnyOf(0, 32, 104)) << "read nothing, EPIPE or ECONNRESET";
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "closed-early");
  EXPECT_EQ(line.at("reply").dump(), R"({"type":"close-before-reading"})");
}

TEST(Faults, TheLogShowsThem) {
  const std::pair<Json, std::string> cases[] = {
      {{{"status", 5}, {"text", "a"}, {"length", 10}, {"cutPayload", 0}, {"bytewise", true}},
       R"({"type":"frame","status":5,"length":10,"cutPayload":0,"bytewise":true})"},
      {{{"text", "ab"}, {"cutHeader", 5}, {"delay", 1}},
       R"({"type":"frame","status":0,"length":2,"cutHeader":5,"delay":1})"},
      {{{"stream", {{{"text", "ab"}}, {{"hex", "00"}}}}, {"bytewise", true}},
       R"({"type":"stream","bytes":3,"bytewise":true})"},
      {{{"close", "after-header"}}, R"({"type":"close-after-header"})"},
      {{{"close", "after-request"}}, R"({"type":"nothing"})"},
      {{{"silent", true}}, R"({"type":"silence"})"},
  };
  for (const auto& [reply, shown] : cases) {
    RunningStandin standin(Always(reply), {});
    (void)standin.Exchange(standin::EncodeFrame(13, ""));
    EXPECT_EQ(standin.NextLine().at("reply").dump(), shown);
  }
}

TEST(Faults, CloseAfterHeaderIsDoneForItsCommandOnly) {
  RunningStandin standin(Json{{"rules",
                               {{{"name", "early"},
                                 {"command", "fix-concats"},
                                 {"reply", {{"close", "after-header"}}}}}}},
                         {});
  EXPECT_EQ(standin.Exchange(standin::EncodeFrame(13, "payload")), "");
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "closed-early");
  EXPECT_EQ(line.at("entry"), "early");
  EXPECT_EQ(line.at("code"), 13);
  EXPECT_EQ(line.at("length"), 7);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  EXPECT_EQ(standin.NextLine().at("event"), "request");
}

TEST(Faults, CloseAfterTheRequestIsAnEmptySuccess) {
  const RunningStandin standin(Always({{"close", "after-request"}}), {});
  const ProcessResult run = standin.Client({"info-owner-rebalance"});
  EXPECT_EQ(run.out, "\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Faults, ACutHeaderReadsAsZeroWhereBytesAreMissing) {
  for (unsigned bytes = 0; bytes < 8; ++bytes) {
    const RunningStandin standin(
        Always({{"status", 0x01020304}, {"text", "lost"}, {"cutHeader", bytes}}), {});
    const ProcessResult run = standin.Client({"fix-concats"});
    EXPECT_EQ(run.exitValue, bytes < 4 ? 0 : 4) << bytes;
    EXPECT_EQ(run.err.empty(), bytes == 0) << run.err;
  }
}

TEST(Faults, AWrongLengthTooLongIsAnIncompleteMessage) {
  const RunningStandin standin(Always({{"text", "four"}, {"length", 10}}), {});
  const ProcessResult run = standin.Client({"info-owner-rebalance"});
  EXPECT_EQ(run.err, INCOMPLETE);
  EXPECT_EQ(run.out, "\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Faults, AWrongLengthTooShortCutsTheText) {
  const RunningStandin standin(Always({{"text", "four"}, {"length", 2}}), {});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "fo\n");
}

TEST(Faults, ACutPayloadIsAnIncompleteMessage) {
  const RunningStandin standin(Always({{"status", 9}, {"text", "payload"}, {"cutPayload", 3}}), {});
  EXPECT_TRUE(SameBytes(FromHex("00000009 00000007") + "pay",
                        standin.Exchange(standin::EncodeFrame(35, ""))));
  const ProcessResult run = standin.Client({"info-owner-rebalance"});
  EXPECT_EQ(run.err, INCOMPLETE);
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Faults, OneByteAtATimeArrivesWhole) {
  const RunningStandin standin(Always({{"text", "slowly"}, {"bytewise", true}}), {});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "slowly\n");
  const TempFolder folder;
  RunningStandin stream(Always({{"stream", {{{"text", "drops"}}}}, {"bytewise", true}}),
                        {"--pcap", folder / "pcap"});
  EXPECT_EQ(stream.Exchange(standin::EncodeFrame(1, "")), "drops");
  EXPECT_EQ(stream.Stop().exitValue, 0);
  // A header of 24 bytes, and 24 bytes before each piece: the request and five of the reply.
  EXPECT_EQ(ReadFile(folder / "pcap").size(), 24U + 6 * 24U + 8U + 5U);
}

TEST(Faults, ADelayedReplyIsTheSameReply) {
  const RunningStandin standin(Always({{"text", "late"}, {"delay", 20}}), {});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "late\n");
}

TEST(Faults, SilenceLastsUntilTheClientHangsUp) {
  RunningStandin standin(Always({{"silent", true}}), {"--once"});
  EXPECT_EQ(standin.Exchange(""), "");
  EXPECT_EQ(standin.Finish().exitValue, 0);

  RunningStandin silent(Always({{"silent", true}}), {"--once"});
  {
    const standin::Descriptor connection = ConnectTo(silent.Socket());
    WriteAll(connection.Get(), standin::EncodeFrame(35, ""));
    EXPECT_EQ(silent.NextLine().at("reply").at("type"), "silence");
  }
  const StandinResult alone = silent.Finish();
  EXPECT_EQ(alone.exitValue, 0);
  EXPECT_THAT(alone.Events("reply-not-taken"), testing::IsEmpty());

  RunningStandin stopped(Always({{"silent", true}}), {});
  const standin::Descriptor connection = ConnectTo(stopped.Socket());
  WriteAll(connection.Get(), standin::EncodeFrame(35, ""));
  EXPECT_EQ(stopped.NextLine().at("event"), "request");
  EXPECT_EQ(stopped.Stop().Events("reply-not-taken").at(0).at("why"), "the server stops");
}

TEST(Faults, SilenceIsATimeOutToTheClientSlow) {
  const RunningStandin standin(Always({{"silent", true}}), {});
  const ProcessResult run = standin.Client({"info-owner-rebalance"});
  EXPECT_EQ(run.err, "Error received: No answer within the time-out: (null)\n");
  EXPECT_EQ(run.exitValue, 11);
}

TEST(Faults, AStreamCanBreakOffAfterAPause) {
  const RunningStandin standin(
      Always({{"stream", {{{"text", "one "}}, {{"pause", 10}, {"text", "two"}}}}}), {});
  EXPECT_EQ(standin.Client({"stats"}).out, "one two");
}

}  // namespace
}  // namespace tests
