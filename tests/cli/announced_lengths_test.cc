// Huge payload lengths: announced and not sent, sent in full, or beyond what can be
// allocated. The client's memory follows what arrives, not what was announced.

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::ReadRequest;
using standin::SendBytes;

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
