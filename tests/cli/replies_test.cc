// Replies and streams of every size, in pieces, cut at every byte, with too much after them,
// odd ones and none: what is printed, and how the run ends.
// Huge lengths are announced and not sent, or beyond what can be allocated: the client's memory
// follows what arrives, not what was announced.

#include "tests/cli/replies.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/support/stream.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

const Words PRINTS = {PRINTING};
const Words SILENT = {SILENT_ONE};
const Words STREAMS[] = {{"stats"}, {"get-obj-crawler-state", "-a"}};

/// What a daemon sends, and what becomes of it.
struct Row {
  Words words;
  std::vector<std::string> pieces;  ///< each is sent on its own
  std::string out;
  std::string err = {};
  int exitValue = 0;
};

/// Each row once with a daemon that hangs up after its last byte, once with one that then sends
/// no more but stays.
void Expect(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    const std::string first = row.pieces.empty() ? "" : row.pieces[0].substr(0, 40);
    SCOPED_TRACE(row.words[0] + " " + testing::PrintToString(first));
    for (const std::vector<Step>& ending : {std::vector<Step>{}, {HalfClose{}, AwaitHangUp{}}}) {
      std::vector<Step> steps = {ReadRequest{}};
      for (const std::string& piece : row.pieces) {
        steps.emplace_back(SendBytes{piece});
      }
      steps.insert(steps.end(), ending.begin(), ending.end());
      EXPECT_TRUE(Ended(RunClientAgainst({.words = row.words, .steps = steps}), row.out, row.err,
                        row.exitValue));
    }
  }
}

std::string ErrorLine(const std::string& status, const std::string& text) {
  return "Error received: " + status + ": " + text + "\n";
}

std::string Error5(const std::string& text) { return ErrorLine("Unknown status 0x00000005", text); }

class ReplySizes : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, ReplySizes,
                         testing::Values(0, 1, 1022, 1023, 1024, 1025, 2046, 65535, 65536, 65537),
                         testing::PrintToStringParamName());

TEST_P(ReplySizes, ArePrintedWholeWithTheirZeroBytesOrTakenInSilence) {
  const std::string text = Text(GetParam());
  const std::string zeros = Zeros(GetParam());
  Expect({{PRINTS, {Frame("00000000", text)}, text + "\n"},
          {PRINTS, {Frame("00000000", zeros)}, zeros + "\n"},
          {SILENT, {Frame("00000000", text)}, ""}});
}

TEST_P(ReplySizes, OfErrorsAreReportedWholeUpToTheFirstZeroByte) {
  const std::string text = Text(GetParam());
  const std::string line = Error5(text.empty() ? "(null)" : text);
  const std::string more = text + Zeros(1) + "not to be seen";
  Expect({{PRINTS, {Frame("00000005", text)}, "", line, 5},
          {SILENT, {Frame("00000005", text)}, "", line, 5},
          {SILENT, {Frame("00000005", more)}, "", Error5(text), 5}});
}

TEST_P(ReplySizes, AnnouncedAndNotSentInFullAreAnEmptySuccess) {
  if (GetParam() == 0) {
    return;
  }
  for (const char* status : {"00000000", "00000005"}) {
    for (const std::size_t sent : {std::size_t{0}, GetParam() - 1}) {
      const std::string reply = Header(status, GetParam()) + Text(sent);
      Expect({{PRINTS, {reply}, "\n", SHORT_PAYLOAD_WARNING},
              {SILENT, {reply}, "", SHORT_PAYLOAD_WARNING}});
    }
  }
}

TEST_P(ReplySizes, OfStreamsAreCopiedWhole) {
  const std::string text = Text(GetParam());
  for (Words words : STREAMS) {
    Expect({{words, {text}, text}});
    const TempFolder folder;
    words.insert(words.end(), {"-o", folder / "f"});
    Expect({{words, {text}, ""}});
    EXPECT_TRUE(SameBytes(text, ReadFile(folder / "f")));
  }
}

TEST(CutReply, IsReadWithZeroForWhatIsMissingOfItsHeader) {
  const std::string reply = FromHex("01020304 01020304") + "0123456789";
  const std::string statuses[] = {"0x01000000", "0x01020000", "0x01020300", "0x01020304"};
  Expect({{PRINTS, {}, "\n"}, {SILENT, {}, ""}});
  for (std::size_t bytes = 1; bytes <= 4; ++bytes) {
    const std::string line = ErrorLine("Unknown status " + statuses[bytes - 1], "(null)");
    for (const Words& words : {PRINTS, SILENT}) {
      Expect({{words, {reply.substr(0, bytes)}, "", line, bytes == 4 ? 4 : 0}});
    }
  }
  // A length by now, and no payload or a part of it.
  for (const std::size_t bytes : {5U, 6U, 7U, 8U, 9U, 17U}) {
    Expect({{PRINTS, {reply.substr(0, bytes)}, "\n", SHORT_PAYLOAD_WARNING},
            {SILENT, {reply.substr(0, bytes)}, "", SHORT_PAYLOAD_WARNING}});
  }
}

TEST(ReplyStatus, EndsAsTheExitValue) {
  for (const auto& [status, text, exitValue] :
       {std::tuple{"00000005", "Unknown status 0x00000005", 5},
        {"000000ff", "Unknown status 0x000000ff", 255},
        // Kept on purpose: a multiple of 256 exits with 0.
        {"00000100", "Unknown status 0x00000100", 0},
        {"0bad0001", "Failure", 1},
        {"2bad0020", "Broken pipe", 32},
        {"ffffffff", "Unknown status 0xffffffff", 255}}) {
    Expect({{PRINTS, {Frame(status, "why")}, "", ErrorLine(text, "why"), exitValue},
            {SILENT, {Frame(status, "why")}, "", ErrorLine(text, "why"), exitValue}});
  }
}

TEST(OddReply, IsTakenByteForByte) {
  const std::string frame = Frame("00000000", "0123456789");
  std::vector<std::string> bytes;
  for (const char byte : frame) {
    bytes.emplace_back(1, byte);
  }
  std::string each;
  for (int byte = 1; byte < 256; ++byte) {
    each += static_cast<char>(byte);
  }
  const std::string big(16U << 20U, 'x');
  Expect({
      {PRINTS, bytes, "0123456789\n"},
      {PRINTS, {Frame("00000000", "yes") + Frame("00000005", "not to be seen")}, "yes\n"},
      {PRINTS, {Frame("00000000", big)}, big + "\n"},
      // "HTTP" is the status, "/1.1" announces 791555377 bytes.
      {PRINTS, {"HTTP/1.1 400 Bad Request\r\n\r\n"}, "\n", SHORT_PAYLOAD_WARNING},
      {PRINTS, {Frame("00000000", each)}, each + "\n"},
      {SILENT, {Frame("00000005", each)}, "", Error5(each), 5},
      {SILENT, {Frame("00000005", "%n%s%s%s%p")}, "", Error5("%n%s%s%s%p"), 5},
  });
}

TEST(OddReply, BeforeTheRequestIsAReplyToo) {
  const ClientResult run = RunClientAgainst(
      {.words = PRINTS, .steps = {SendBytes{Frame("00000000", "yes")}, AwaitHangUp{}}});
  EXPECT_TRUE(Ended(run, "yes\n", "", 0));
  EXPECT_TRUE(SameBytes(FromHex("00000006 00000000"), run.request));
}

TEST(OddStream, LosesTheRestOfAPieceAfterAZeroByteAndNothingElse) {
  const std::string piece = Text(1022);  // and a zero byte: the most that is read at a time
  for (const Words& words : STREAMS) {
    Expect({
        {words, {"a", "b", "c"}, "abc"},
        {words, {"%n%s%s%s%p\n"}, "%n%s%s%s%p\n"},
        {words, {FromHex("6162 00 6364")}, "ab"},
        {words, {Zeros(1) + "ab"}, ""},
        {words, {"ab" + Zeros(1)}, "ab"},
        {words, {piece + Zeros(1) + "cd"}, piece + "cd"},
        {words, {piece.substr(0, 1000) + Zeros(23) + "cd"}, piece.substr(0, 1000) + "cd"},
        {words, {Text(1023) + Zeros(1) + "cd"}, Text(1023)},
    });
  }
}

TEST(StreamMemory, DoesNotGrowWithTheStream) {
  const auto peakKib = [](int mebibytes) {
    const std::string piece(1U << 20U, 'x');
    const Step send = Call{[&](int connection) {
      for (int sent = 0; sent < mebibytes; ++sent) {
        WriteAll(connection, piece);
      }
    }};
    const ClientResult run =
        RunClientAgainst({.words = {"stats", "-o", "/dev/null"}, .steps = {ReadRequest{}, send}});
    EXPECT_EQ(run.exitValue, 0);
    return run.maxRssKib;
  };
  // Much more than the test holds, which is the least that a peak can be.
  EXPECT_LT(peakKib(256), peakKib(1) + 16 * 1024);
}

const char* const HUGE_LENGTHS[] = {"7ffff000", "7fffffff", "80000000", "ffffffff"};

class AnnouncedLength : public testing::TestWithParam<const char*> {
 protected:
  /// The peak memory of a process begins with what its parent holds.
  void SetUp() override {
    if (ClientIsSanitized()) {
      GTEST_SKIP() << "sanitizers take memory of their own";
    }
    malloc_trim(0);
  }
};
INSTANTIATE_TEST_SUITE_P(Of, AnnouncedLength, testing::ValuesIn(HUGE_LENGTHS));

TEST_P(AnnouncedLength, NotSentIsAnEmptySuccessInBoundedMemory) {
  for (const char* status : {"00000000", "00000005"}) {
    const ClientResult run = RunWithReply(PRINTING, FromHex(status) + FromHex(GetParam()) + "part");
    EXPECT_TRUE(Ended(run, "\n", SHORT_PAYLOAD_WARNING, 0));
    EXPECT_LT(run.maxRssKib, FEW_KIB);
  }
}

TEST_P(AnnouncedLength, BeyondTheMemoryLimitAborts) {
  const ClientResult run = RunClientAgainst(
      {.words = {PRINTING},
       .steps = {ReadRequest{}, SendBytes{Zeros(4) + FromHex(GetParam())}, AwaitHangUp{}},
       .prepare = [] {
         constexpr rlimit LIMIT = {512UL << 20, 512UL << 20};
         setrlimit(RLIMIT_AS, &LIMIT);
       }});
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "TREL_SafeMalloc:3116: Failed to allocate new memory\n");
  EXPECT_EQ(run.signal, SIGABRT);
}

}  // namespace
}  // namespace tests
