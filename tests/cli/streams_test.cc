// Streamed replies of every size, to standard output and to a file.

#include <gtest/gtest.h>

#include "tests/cli/replies.h"
#include "tests/support/temp_folder.h"

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
};
INSTANTIATE_TEST_SUITE_P(Of, Stream, testing::ValuesIn(STREAMING), [](const auto& test) {
  return test.index == 0 ? "Stats" : "CrawlerStates";
});

TEST_P(Stream, IsCopiedWholeWhateverItsSize) {
  for (const std::size_t size :
       {0UL, 1UL, 1022UL, 1023UL, 1024UL, 1025UL, 2046UL, 65535UL, 65536UL, 65537UL}) {
    SCOPED_TRACE(size);
    EXPECT_TRUE(Ended(Run({Text(size)}), Text(size), "", 0));
    const TempFolder folder;
    EXPECT_TRUE(Ended(Run({Text(size)}, {"-o", folder / "f"}), "", "", 0));
    EXPECT_TRUE(SameBytes(Text(size), ReadFile(folder / "f")));
  }
}

TEST_P(Stream, InSingleBytesIsCopied) { EXPECT_TRUE(Ended(Run({"a", "b", "c"}), "abc", "", 0)); }

TEST_P(Stream, EndsWhenTheDaemonSendsNoMore) {
  const ClientResult run = RunClientAgainst(
      {.words = GetParam(), .steps = {ReadRequest{}, SendBytes{"ok"}, HalfClose{}, AwaitHangUp{}}});
  EXPECT_TRUE(Ended(run, "ok", "", 0));
}

TEST_P(Stream, LosesTheRestOfAPieceAfterAZeroByte) {
  EXPECT_TRUE(Ended(Run({FromHex("6162 00 6364")}), "ab", "", 0));
  EXPECT_TRUE(Ended(Run({Zeros(1) + "ab"}), "", "", 0));
  EXPECT_TRUE(Ended(Run({"ab" + Zeros(1)}), "ab", "", 0));
}

TEST_P(Stream, GoesOnWithThePieceAfterTheOneWithAZeroByte) {
  // A piece is 1023 bytes.
  const std::string text = Text(1022);
  EXPECT_TRUE(Ended(Run({text + Zeros(1) + "cd"}), text + "cd", "", 0));
  EXPECT_TRUE(
      Ended(Run({text.substr(0, 1000) + Zeros(23) + "cd"}), text.substr(0, 1000) + "cd", "", 0));
  EXPECT_TRUE(Ended(Run({Text(1023) + Zeros(1) + "cd"}), Text(1023), "", 0));
}

TEST_P(Stream, PrintsNoFormat) { EXPECT_TRUE(Ended(Run({"%n%s%s%s%p\n"}), "%n%s%s%s%p\n", "", 0)); }

TEST_P(Stream, EndsWithTheReasonIfTheOutputFileCannotBeOpened) {
  const TempFolder folder;
  EXPECT_TRUE(Ended(Run({"text"}, {"-o", folder / "none/f"}), "", "", 2));
}

TEST(StreamMemory, DoesNotGrowWithTheStream) {
  const auto peakKib = [](int mebibytes) {
    const std::string piece(1U << 20U, 'x');
    const Step send = Call{[&](int connection) {
      for (int sent = 0; sent < mebibytes; ++sent) {
        standin::WriteAll(connection, piece);
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

}  // namespace
}  // namespace tests
