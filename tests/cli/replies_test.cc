// Replies, good and bad, through the real binary: standard output, standard error
// and exit value.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include "core/frame.h"
#include "support/bytes.h"
#include "support/client.h"
#include "support/peer_socket.h"
#include "support/scripted_daemon.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::Call;
using standin::Close;
using standin::EncodeFrame;
using standin::EncodeHeader;
using standin::ReadBytes;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;
using Words = std::vector<std::string>;

constexpr char SHORT_PAYLOAD[] =
    "Failed to receive the complete UDS message sent. Please try again";

ClientResult Answered(const Words& words, const std::string& reply) {
  return RunClientAgainst({.words = words, .steps = {ReadRequest{}, SendBytes{reply}}});
}

void MakeStandardOutputABrokenPipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
  }
}

// --- framed ----------------------------------------------------------------------

TEST(FramedReply, PrintsThePayloadAndOneLineEnd) {
  const std::string payload = std::string("text \0 with zero\n", 17);
  const ClientResult run = Answered({"fitness-stats-get"}, EncodeFrame(0, payload));
  EXPECT_EQ(run.out, payload + "\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(FramedReply, OfLengthZeroPrintsOneEmptyLine) {
  const ClientResult run = Answered({"fitness-stats-get"}, EncodeFrame(0, ""));
  EXPECT_EQ(run.out, "\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(FramedReply, OfAnErrorIsToldWithItsTextAndBecomesTheExitValue) {
  const ClientResult run = Answered({"fitness-stats-get"}, EncodeFrame(5, "bad uuid"));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "Error received: Unknown status 0x00000005: bad uuid\n");
  EXPECT_EQ(run.exitValue, 5);
}

TEST(FramedReply, OfAnErrorWithoutTextSaysNull) {
  const ClientResult run = Answered({"fix-concats"}, EncodeFrame(0x2bad0002, ""));
  EXPECT_EQ(run.err, "Error received: No such file or directory: (null)\n");
  EXPECT_EQ(run.exitValue, 2);
}

TEST(FramedReply, HasItsStatusCutToEightBits) {
  for (const auto& [status, exitValue] :
       std::initializer_list<std::pair<std::uint32_t, int>>{{1, 1},
                                                            {255, 255},
                                                            {256, 0},
                                                            {0x0bad0001, 1},
                                                            {0x2bad00ff, 255},
                                                            {0xffffffff, 255},
                                                            {0x12345600, 0}}) {
    const ClientResult run = Answered({"fix-concats"}, EncodeFrame(status, "x"));
    EXPECT_EQ(run.exitValue, exitValue) << status;
    EXPECT_TRUE(run.err.starts_with("Error received: ")) << status;
  }
}

TEST(FramedReply, OfSilentCommandsPrintsNothingEvenWithAPayload) {
  for (const char* word : {"set-preferred-fd", "set-nonPreferred-fd"}) {
    const ClientResult run = Answered({word}, EncodeFrame(0, "payload"));
    EXPECT_EQ(run.out + run.err, "") << word;
    EXPECT_EQ(run.exitValue, 0) << word;
  }
}

TEST(FramedReply, ThatNeverComesBecauseTheDaemonHangsUpIsAnEmptySuccess) {
  const ClientResult printed =
      RunClientAgainst({.words = {"fitness-stats-get"}, .steps = {ReadRequest{}}});
  EXPECT_EQ(printed.out, "\n");
  EXPECT_EQ(printed.err, "");
  EXPECT_EQ(printed.exitValue, 0);
  const ClientResult silent =
      RunClientAgainst({.words = {"fix-concats"}, .steps = {ReadRequest{}}});
  EXPECT_EQ(silent.out + silent.err, "");
  EXPECT_EQ(silent.exitValue, 0);
}

TEST(FramedReply, CutInItsHeaderHasZerosForTheRest) {
  const std::string header = FromHex("00000105 00000000");
  for (std::size_t cut = 0; cut < 8; ++cut) {
    const ClientResult run = Answered({"fitness-stats-get"}, header.substr(0, cut));
    const int exitValue = cut >= 4 ? 5 : 0;
    EXPECT_EQ(run.exitValue, exitValue) << cut;
    const std::string expected = cut < 3    ? ""
                                 : cut == 3 ? "Error received: Unknown status 0x00000100: (null)\n"
                                            : "Error received: Unknown status 0x00000105: (null)\n";
    EXPECT_EQ(run.err, expected) << cut;
    EXPECT_EQ(run.out, cut < 3 ? "\n" : "") << cut;
  }
}

TEST(FramedReply, CutInItsPayloadIsAnEmptySuccessWithAWarning) {
  for (const std::uint32_t status : {0U, 5U}) {
    const ClientResult run =
        Answered({"fitness-stats-get"}, EncodeHeader({.word = status, .length = 10}) + "four");
    EXPECT_EQ(run.out, "\n");
    EXPECT_EQ(run.err, SHORT_PAYLOAD);
    EXPECT_EQ(run.exitValue, 0);
  }
}

TEST(FramedReply, IgnoresBytesBehindThePayload) {
  const ClientResult run = Answered({"fitness-stats-get"}, EncodeFrame(0, "text") + "more");
  EXPECT_EQ(run.out, "text\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(FramedReply, Of16MebibytesArrivesWhole) {
  const std::string payload(16U << 20U, 'x');
  const ClientResult run = Answered({"fitness-stats-get"}, EncodeFrame(0, payload));
  EXPECT_TRUE(run.out == payload + "\n");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(FramedReply, ByteByByteIsWaitedFor) {
  std::vector<Step> steps = {ReadRequest{}};
  for (const char byte : EncodeFrame(0, "slow")) {
    steps.emplace_back(SendBytes{std::string(1, byte)});
  }
  const ClientResult run = RunClientAgainst({.words = {"fitness-stats-get"}, .steps = steps});
  EXPECT_EQ(run.out, "slow\n");
}

TEST(FramedReply, AnErrorTextIsNoFormatAndNotReadBeyondItsLength) {
  const ClientResult run = Answered({"fix-concats"}, EncodeFrame(7, "%n%s%1000000d"));
  EXPECT_EQ(run.err, "Error received: Unknown status 0x00000007: %n%s%1000000d\n");
  EXPECT_EQ(run.exitValue, 7);
}

TEST(FramedReply, TooLargeToAllocateEndsInAPanic) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "the sanitizers need more address space than the limit leaves";
  }
  const ClientResult run = RunClientAgainst(
      {.words = {"fitness-stats-get"},
       .steps = {ReadRequest{}, SendBytes{FromHex("00000000 ffffffff")}, AwaitHangUp{}},
       .prepare = [] {
         const rlimit limit{.rlim_cur = 1U << 30U, .rlim_max = 1U << 30U};
         setrlimit(RLIMIT_AS, &limit);
       }});
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "TREL_SafeMalloc:3116: Failed to allocate new memory\n");
}

TEST(FramedReply, ToAConnectionResetIsToldAsSuch) {
  // Hanging up with the client's bytes unread resets the connection.
  const ClientResult run =
      RunClientAgainst({.words = {"crawler", "-a"}, .steps = {ReadBytes{8 + 35}, Close{}}});
  EXPECT_EQ(run.err, "Error received: Connection reset by peer: (null)\n");
  EXPECT_EQ(run.exitValue, 104);
}

TEST(FramedReply, ToAPipeThatNobodyReadsIsABrokenPipe) {
  const ClientResult run =
      RunClientAgainst({.words = {"fitness-stats-get"},
                        .steps = {ReadRequest{}, SendBytes{EncodeFrame(0, "text")}},
                        .prepare = MakeStandardOutputABrokenPipe});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.signal, 0);
  EXPECT_EQ(run.exitValue, 32);
}

TEST(FramedReply, ToAFullDeviceHasNoSpace) {
  const ClientResult run =
      RunClientAgainst({.words = {"fitness-stats-get"},
                        .steps = {ReadRequest{}, SendBytes{EncodeFrame(0, "text")}},
                        .prepare = [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 1); }});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 28);
}

// --- streamed --------------------------------------------------------------------

TEST(Stream, ArrivesWholeInManyPieces) {
  std::string text;
  std::vector<Step> steps = {ReadRequest{}};
  for (int piece = 0; piece < 300; ++piece) {
    const std::string bytes(static_cast<std::size_t>(piece) * 7,
                            static_cast<char>('a' + piece % 26));
    text += bytes;
    steps.emplace_back(SendBytes{bytes});
  }
  const ClientResult run = RunClientAgainst({.words = {"stats"}, .steps = steps});
  EXPECT_EQ(run.out, text);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Stream, StopsEachPieceAtItsFirstZeroByte) {
  const ClientResult run = Answered({"stats"}, std::string("ab\0cd", 5));
  EXPECT_EQ(run.out, "ab");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Stream, IsCutIntoPiecesOf1023Bytes) {
  // The zero byte hides the rest of the first 1023 bytes, and no more than that.
  const std::string text = "ab" + std::string(1, '\0') + std::string(1020, 'x') + "cd";
  EXPECT_EQ(Answered({"stats"}, text).out, "abcd");
}

TEST(Stream, IsNoFrame) {
  EXPECT_EQ(Answered({"stats"}, FromHex("41424344 45464748")).out, "ABCDEFGH");
}

TEST(Stream, OfNothingPrintsNothing) {
  const ClientResult run = RunClientAgainst({.words = {"stats"}, .steps = {ReadRequest{}}});
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Stream, ThatIsResetKeepsWhatWasPrinted) {
  const ClientResult run = RunClientAgainst({.words = {"get-obj-crawler-state", "-a"},
                                             .steps = {ReadBytes{20}, SendBytes{"kept"}, Close{}}});
  EXPECT_EQ(run.out, "kept");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 104);
}

TEST(Stream, GoesToTheOutputFile) {
  const TempFolder folder;
  for (const Words& words : {Words{"stats"}, {"get-obj-crawler-state", "-a"}}) {
    const std::string path = folder / words[0];
    WriteFile(path, "an older and longer text");
    Words all = words;
    all.insert(all.end(), {"-o", path});
    const ClientResult run = Answered(all, "new text\n");
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_EQ(run.exitValue, 0);
    EXPECT_EQ(ReadFile(path), "new text\n");
  }
}

TEST(Stream, ToAFolderThatIsMissingEndsSilentlyWithItsErrno) {
  const ClientResult run = Answered({"stats", "-o", "/nonexistent/dir/f"}, "text");
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(run.exitValue, 2);
  EXPECT_TRUE(SameBytes(FromHex("00000001 00000000"), run.request));
}

TEST(Stream, ToAFullDeviceGoesUnnoticed) {
  const ClientResult run = Answered({"stats", "-o", "/dev/full"}, "text");
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Stream, ToAPipeThatNobodyReadsGoesUnnoticed) {
  const ClientResult run = RunClientAgainst({.words = {"stats"},
                                             .steps = {ReadRequest{}, SendBytes{"text"}},
                                             .prepare = MakeStandardOutputABrokenPipe});
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.signal, 0);
  EXPECT_EQ(run.exitValue, 0);
}

TEST(Stream, CostsNoMemoryThatGrowsWithIt) {
  long before = 0;
  long after = 0;
  std::vector<Step> steps = {ReadRequest{}, SendBytes{"text"},
                             Call{[&](int fd) { before = PeakMemoryOfPeerKib(fd); }}};
  steps.insert(steps.end(), 64, SendBytes{std::string(1U << 20U, 'x')});
  steps.emplace_back(Call{[&](int fd) { after = PeakMemoryOfPeerKib(fd); }});
  const ClientResult run =
      RunClientAgainst({.words = {"stats", "-o", "/dev/null"}, .steps = steps});
  EXPECT_EQ(run.exitValue, 0);
  EXPECT_GT(before, 0);
  EXPECT_LT(after, before + 1024);
}

}  // namespace
}  // namespace tests
