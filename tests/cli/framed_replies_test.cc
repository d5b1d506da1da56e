// Framed replies of every size, cut at every byte, in pieces, with too much after
// them, and no replies at all.

#include <gtest/gtest.h>

#include "cli/replies.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::HalfClose;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

constexpr std::size_t SIZES[] = {0, 1, 1022, 1023, 1024, 1025, 2046, 65535, 65536, 65537};

class ReplySizes : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, ReplySizes, testing::ValuesIn(SIZES),
                         testing::PrintToStringParamName());

TEST_P(ReplySizes, ArePrintedWhole) {
  const ClientResult run = RunWithReply(PRINTING, Frame("00000000", Text(GetParam())));
  EXPECT_TRUE(SameBytes(Text(GetParam()) + "\n", run.out));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST_P(ReplySizes, ArePrintedWithTheirZeroBytes) {
  const ClientResult run = RunWithReply(PRINTING, Frame("00000000", Zeros(GetParam())));
  EXPECT_TRUE(SameBytes(Zeros(GetParam()) + "\n", run.out));
  EXPECT_EQ(run.exitValue, 0);
}

TEST_P(ReplySizes, AreTakenInSilence) {
  const ClientResult run = RunWithReply(SILENT_ONE, Frame("00000000", Text(GetParam())));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST_P(ReplySizes, OfErrorsAreReportedWholeAndNotAByteMore) {
  const std::string text = GetParam() == 0 ? "(null)" : Text(GetParam());
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    const ClientResult run = RunWithReply(word, Frame("00000005", Text(GetParam())));
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(SameBytes("Error received: Unknown status 0x00000005: " + text + "\n", run.err));
    EXPECT_EQ(run.exitValue, 5);
  }
}

TEST_P(ReplySizes, OfErrorsEndAtTheFirstZeroByte) {
  const std::string text = Text(GetParam());
  const ClientResult run =
      RunWithReply(SILENT_ONE, Frame("00000005", text + Zeros(1) + "not to be seen"));
  EXPECT_TRUE(SameBytes("Error received: Unknown status 0x00000005: " + text + "\n", run.err));
}

TEST_P(ReplySizes, AnnouncedAndNotSentAreAnEmptySuccess) {
  if (GetParam() == 0) {
    return;
  }
  for (const char* status : {"00000000", "00000005"}) {
    const ClientResult run = RunWithReply(PRINTING, Header(status, GetParam()));
    EXPECT_EQ(run.out, "\n");
    EXPECT_EQ(run.err, SHORT_PAYLOAD_WARNING);
    EXPECT_EQ(run.exitValue, 0);
  }
}

TEST_P(ReplySizes, LackingTheLastByteAreAnEmptySuccess) {
  if (GetParam() == 0) {
    return;
  }
  const std::string reply = Frame("00000005", Text(GetParam()));
  const ClientResult run = RunWithReply(SILENT_ONE, reply.substr(0, reply.size() - 1));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, SHORT_PAYLOAD_WARNING);
  EXPECT_EQ(run.exitValue, 0);
}

/// How the daemon ends a reply that it has cut.
struct Ending {
  const char* name;
  std::vector<Step> steps;
};
void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.name; }

const Ending ENDINGS[] = {{"HangsUp", {}}, {"SendsNoMore", {HalfClose{}, AwaitHangUp{}}}};

class CutReply : public testing::TestWithParam<Ending> {
 protected:
  static ClientResult Run(const std::string& word, const std::string& bytes) {
    std::vector<Step> steps = {ReadRequest{}, SendBytes{bytes}};
    steps.insert(steps.end(), GetParam().steps.begin(), GetParam().steps.end());
    return RunClientAgainst({.words = {word}, .steps = steps});
  }
};
INSTANTIATE_TEST_SUITE_P(When, CutReply, testing::ValuesIn(ENDINGS), [](const auto& test) {
  return std::string("TheDaemon") + test.param.name;
});

TEST_P(CutReply, ReadsTheMissingBytesOfItsHeaderAsZero) {
  const struct {
    std::size_t bytes;
    const char* printed;  ///< by the command that prints
    std::string err;
    int exitValue;
  } cuts[] = {
      {0, "\n", "", 0},
      {1, "", "Error received: Unknown status 0x01000000: (null)\n", 0},
      {2, "", "Error received: Unknown status 0x01020000: (null)\n", 0},
      {3, "", "Error received: Unknown status 0x01020300: (null)\n", 0},
      {4, "", "Error received: Unknown status 0x01020304: (null)\n", 4},
      // A length by now, and no payload.
      {5, "\n", SHORT_PAYLOAD_WARNING, 0},
      {6, "\n", SHORT_PAYLOAD_WARNING, 0},
      {7, "\n", SHORT_PAYLOAD_WARNING, 0},
      {8, "\n", SHORT_PAYLOAD_WARNING, 0},
  };
  for (const auto& cut : cuts) {
    SCOPED_TRACE(cut.bytes);
    const std::string bytes = FromHex("01020304 01020304").substr(0, cut.bytes);
    const ClientResult printing = Run(PRINTING, bytes);
    EXPECT_EQ(printing.out, cut.printed);
    EXPECT_EQ(printing.err, cut.err);
    EXPECT_EQ(printing.exitValue, cut.exitValue);
    const ClientResult silent = Run(SILENT_ONE, bytes);
    EXPECT_EQ(silent.out, "");
    EXPECT_EQ(silent.err, cut.err);
    EXPECT_EQ(silent.exitValue, cut.exitValue);
  }
}

TEST_P(CutReply, IsAnEmptySuccessWhereverItsPayloadIsCut) {
  const std::string payload = "0123456789";
  for (const char* status : {"00000000", "00000005", "2bad0005"}) {
    for (std::size_t bytes = 0; bytes < payload.size(); ++bytes) {
      SCOPED_TRACE(bytes);
      const std::string reply = Frame(status, payload).substr(0, 8 + bytes);
      const ClientResult printing = Run(PRINTING, reply);
      EXPECT_EQ(printing.out, "\n");
      EXPECT_EQ(printing.err, SHORT_PAYLOAD_WARNING);
      EXPECT_EQ(printing.exitValue, 0);
      const ClientResult silent = Run(SILENT_ONE, reply);
      EXPECT_EQ(silent.out, "");
      EXPECT_EQ(silent.err, SHORT_PAYLOAD_WARNING);
      EXPECT_EQ(silent.exitValue, 0);
    }
  }
}

TEST(OddReply, InSingleBytesIsPutTogether) {
  std::vector<Step> steps = {ReadRequest{}};
  for (const char byte : Frame("00000000", "0123456789")) {
    steps.emplace_back(SendBytes{std::string(1, byte)});
  }
  const ClientResult run = RunClientAgainst({.words = {PRINTING}, .steps = steps});
  EXPECT_EQ(run.out, "0123456789\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(OddReply, WithBytesAfterItsEndIsReadToItsEnd) {
  const ClientResult run =
      RunWithReply(PRINTING, Frame("00000000", "yes") + Frame("00000005", "not to be seen"));
  EXPECT_EQ(run.out, "yes\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(OddReply, Of16MebibytesArrivesWhole) {
  const std::string payload(16U << 20U, 'x');
  const ClientResult run = RunWithReply(PRINTING, Frame("00000000", payload));
  EXPECT_TRUE(run.out == payload + "\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(OddReply, OfAnotherProtocolIsAShortPayload) {
  // "HTTP" is the status, "/1.1" announces 791555377 bytes.
  const ClientResult run = RunWithReply(PRINTING, "HTTP/1.1 400 Bad Request\r\n\r\n");
  EXPECT_EQ(run.out, "\n");
  EXPECT_EQ(run.err, SHORT_PAYLOAD_WARNING);
  EXPECT_EQ(run.exitValue, 0);
}

TEST(OddReply, BeforeTheRequestIsAReplyToo) {
  const ClientResult run = RunClientAgainst(
      {.words = {PRINTING}, .steps = {SendBytes{Frame("00000000", "yes")}, AwaitHangUp{}}});
  EXPECT_EQ(run.out, "yes\n");
  EXPECT_TRUE(SameBytes(FromHex("00000006 00000000"), run.request));
}

TEST(OddReply, WithConversionsInItsErrorTextIsNoFormat) {
  const ClientResult run = RunWithReply(SILENT_ONE, Frame("00000005", "%n%s%s%s%p"));
  EXPECT_EQ(run.err, "Error received: Unknown status 0x00000005: %n%s%s%s%p\n");
  EXPECT_EQ(run.exitValue, 5);
}

}  // namespace
}  // namespace tests
