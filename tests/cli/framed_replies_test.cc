// Framed replies of every size, cut at every byte, in pieces, with too much after
// them, and no replies at all.

#include <gtest/gtest.h>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::HalfClose;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

const std::string ERROR_5 = "Error received: Unknown status 0x00000005: ";

class ReplySizes : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, ReplySizes,
                         testing::Values(0, 1, 1022, 1023, 1024, 1025, 2046, 65535, 65536, 65537),
                         testing::PrintToStringParamName());

TEST_P(ReplySizes, ArePrintedWholeWithTheirZeroBytesOrTakenInSilence) {
  const std::string text = Text(GetParam());
  const std::string zeros = Zeros(GetParam());
  EXPECT_TRUE(Ended(RunWithReply(PRINTING, Frame("00000000", text)), text + "\n", "", 0));
  EXPECT_TRUE(Ended(RunWithReply(PRINTING, Frame("00000000", zeros)), zeros + "\n", "", 0));
  EXPECT_TRUE(Ended(RunWithReply(SILENT_ONE, Frame("00000000", text)), "", "", 0));
}

TEST_P(ReplySizes, OfErrorsAreReportedWholeUpToTheFirstZeroByte) {
  const std::string text = Text(GetParam());
  const std::string line = ERROR_5 + (text.empty() ? "(null)" : text) + "\n";
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    EXPECT_TRUE(Ended(RunWithReply(word, Frame("00000005", text)), "", line, 5));
  }
  const std::string more = Frame("00000005", text + Zeros(1) + "not to be seen");
  EXPECT_TRUE(Ended(RunWithReply(SILENT_ONE, more), "", ERROR_5 + text + "\n", 5));
}

TEST_P(ReplySizes, AnnouncedAndNotSentInFullAreAnEmptySuccess) {
  if (GetParam() == 0) {
    return;
  }
  for (const char* status : {"00000000", "00000005"}) {
    for (const std::size_t sent : {std::size_t{0}, GetParam() - 1}) {
      const std::string reply = Header(status, GetParam()) + Text(sent);
      EXPECT_TRUE(Ended(RunWithReply(PRINTING, reply), "\n", SHORT_PAYLOAD_WARNING, 0));
      EXPECT_TRUE(Ended(RunWithReply(SILENT_ONE, reply), "", SHORT_PAYLOAD_WARNING, 0));
    }
  }
}

/// How the daemon ends a reply that it has cut.
const std::vector<Step> ENDINGS[] = {{}, {HalfClose{}, AwaitHangUp{}}};

TEST(CutReply, IsReadWithZeroForWhatIsMissingOfItsHeader) {
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
      // A length by now, and no payload or a part of it.
      {5, "\n", SHORT_PAYLOAD_WARNING, 0},
      {6, "\n", SHORT_PAYLOAD_WARNING, 0},
      {7, "\n", SHORT_PAYLOAD_WARNING, 0},
      {8, "\n", SHORT_PAYLOAD_WARNING, 0},
      {9, "\n", SHORT_PAYLOAD_WARNING, 0},
      {17, "\n", SHORT_PAYLOAD_WARNING, 0},
  };
  for (const auto& cut : cuts) {
    SCOPED_TRACE(cut.bytes);
    for (const std::vector<Step>& ending : ENDINGS) {
      const std::string reply = FromHex("01020304 01020304") + "0123456789";
      std::vector<Step> steps = {ReadRequest{}, SendBytes{reply.substr(0, cut.bytes)}};
      steps.insert(steps.end(), ending.begin(), ending.end());
      EXPECT_TRUE(Ended(RunClientAgainst({.words = {PRINTING}, .steps = steps}), cut.printed,
                        cut.err, cut.exitValue));
      EXPECT_TRUE(Ended(RunClientAgainst({.words = {SILENT_ONE}, .steps = steps}), "", cut.err,
                        cut.exitValue));
    }
  }
}

TEST(OddReply, InSingleBytesIsPutTogether) {
  std::vector<Step> steps = {ReadRequest{}};
  for (const char byte : Frame("00000000", "0123456789")) {
    steps.emplace_back(SendBytes{std::string(1, byte)});
  }
  EXPECT_TRUE(
      Ended(RunClientAgainst({.words = {PRINTING}, .steps = steps}), "0123456789\n", "", 0));
}

TEST(OddReply, WithBytesAfterItsEndIsReadToItsEnd) {
  const std::string two = Frame("00000000", "yes") + Frame("00000005", "not to be seen");
  EXPECT_TRUE(Ended(RunWithReply(PRINTING, two), "yes\n", "", 0));
}

TEST(OddReply, Of16MebibytesArrivesWhole) {
  const std::string payload(16U << 20U, 'x');
  const ClientResult run = RunWithReply(PRINTING, Frame("00000000", payload));
  EXPECT_TRUE(run.out == payload + "\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(OddReply, OfAnotherProtocolIsAShortPayload) {
  // "HTTP" is the status, "/1.1" announces 791555377 bytes.
  EXPECT_TRUE(Ended(RunWithReply(PRINTING, "HTTP/1.1 400 Bad Request\r\n\r\n"), "\n",
                    SHORT_PAYLOAD_WARNING, 0));
}

TEST(OddReply, BeforeTheRequestIsAReplyToo) {
  const ClientResult run = RunClientAgainst(
      {.words = {PRINTING}, .steps = {SendBytes{Frame("00000000", "yes")}, AwaitHangUp{}}});
  EXPECT_TRUE(Ended(run, "yes\n", "", 0));
  EXPECT_TRUE(SameBytes(FromHex("00000006 00000000"), run.request));
}

TEST(OddReply, WithConversionsInItsErrorTextIsNoFormat) {
  EXPECT_TRUE(Ended(RunWithReply(SILENT_ONE, Frame("00000005", "%n%s%s%s%p")), "",
                    ERROR_5 + "%n%s%s%s%p\n", 5));
}

}  // namespace
}  // namespace tests
