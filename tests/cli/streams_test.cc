// Streamed replies of every size, to standard output and to a file.

#include <gtest/gtest.h>

#include "cli/replies.h"
#include "support/peer_socket.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::Call;
using standin::HalfClose;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

const std::vector<std::string> STREAMING[] = {{"stats"}, {"get-obj-crawler-state", "-a"}};

class Stream : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  static ClientResult Run(const std::vector<std::string>& pieces,
                          const std::vector<std::string>& options = {}) {
    std::vector<Step> steps = {ReadRequest{}};
    for (const std::string& piece : pieces) {
      steps.emplace_back(SendBytes{piece});
    }
    std::vector<std::string> words = GetParam();
    words.insert(words.end(), options.begin(), options.end());
    return RunClientAgainst({.words = words, .steps = steps});
  }
  static void ExpectPrinted(const std::string& expected, const ClientResult& run) {
    EXPECT_TRUE(SameBytes(expected, run.out));
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.exitValue, 0);
  }
};
INSTANTIATE_TEST_SUITE_P(Of, Stream, testing::ValuesIn(STREAMING), [](const auto& test) {
  return test.index == 0 ? "Stats" : "CrawlerStates";
});

TEST_P(Stream, IsCopiedWholeWhateverItsSize) {
  for (const std::size_t size :
       {0UL, 1UL, 1022UL, 1023UL, 1024UL, 1025UL, 2046UL, 65535UL, 65536UL, 65537UL}) {
    SCOPED_TRACE(size);
    ExpectPrinted(Text(size), Run({Text(size)}));
    const TempFolder folder;
    ExpectPrinted("", Run({Text(size)}, {"-o", folder / "f"}));
    EXPECT_TRUE(SameBytes(Text(size), ReadFile(folder / "f")));
  }
}

TEST_P(Stream, InSingleBytesIsCopied) { ExpectPrinted("abc", Run({"a", "b", "c"})); }

TEST_P(Stream, EndsWhenTheDaemonSendsNoMore) {
  const ClientResult run = RunClientAgainst(
      {.words = GetParam(), .steps = {ReadRequest{}, SendBytes{"ok"}, HalfClose{}, AwaitHangUp{}}});
  ExpectPrinted("ok", run);
}

TEST_P(Stream, LosesTheRestOfAPieceAfterAZeroByte) {
  ExpectPrinted("ab", Run({FromHex("6162 00 6364")}));
  ExpectPrinted("", Run({Zeros(1) + "ab"}));
  ExpectPrinted("ab", Run({"ab" + Zeros(1)}));
}

TEST_P(Stream, GoesOnWithThePieceAfterTheOneWithAZeroByte) {
  // A piece is 1023 bytes.
  const std::string text = Text(1022);
  ExpectPrinted(text + "cd", Run({text + Zeros(1) + "cd"}));
  ExpectPrinted(text.substr(0, 1000) + "cd", Run({text.substr(0, 1000) + Zeros(23) + "cd"}));
  ExpectPrinted(Text(1023), Run({Text(1023) + Zeros(1) + "cd"}));
}

TEST_P(Stream, PrintsNoFormat) { ExpectPrinted("%n%s%s%s%p\n", Run({"%n%s%s%s%p\n"})); }

TEST_P(Stream, EndsWithTheReasonIfTheOutputFileCannotBeOpened) {
  const TempFolder folder;
  const ClientResult run = Run({"text"}, {"-o", folder / "none/f"});
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 2);
}

TEST(StreamMemory, DoesNotGrowWithTheStream) {
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
