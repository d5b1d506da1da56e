// Checked allocation: fixed names, fixed line numbers, no way back.

#include "support/safe_alloc.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "support/bytes.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using tests::WrappedCalls;
using SafeAllocDeathTest = testing::Test;

TEST(SafeAlloc, CallocHandsOutZeroFilledMemory) {
  auto* memory = static_cast<char*>(TREL_SafeCalloc(3, 100));
  EXPECT_TRUE(tests::SameBytes(tests::Zeros(300), std::string_view(memory, 300)));
  std::free(memory);
}

TEST(SafeAlloc, EachSiteCallsItsOwnAllocatorOnce) {
  WrappedCalls calls;
  void* zeroed = TREL_SafeCalloc(3, 100);
  void* plain = TREL_SafeMalloc(17);
  EXPECT_EQ(calls.Seen({"calloc", "malloc"}),
            (std::vector<std::string>{"calloc(3, 100)", "malloc(17)"}));
  std::free(zeroed);
  std::free(plain);
}

TEST_F(SafeAllocDeathTest, CallocPanicsWithItsNameAndLine) {
  EXPECT_EXIT(
      {
        WrappedCalls calls;
        calls.Script("calloc", {.result = 0, .error = ENOMEM});
        (void)TREL_SafeCalloc(1, 94720);
      },
      testing::KilledBySignal(SIGABRT), "^TREL_SafeCalloc:3126: Failed to allocate new memory\n$");
}

TEST_F(SafeAllocDeathTest, MallocPanicsWithItsNameAndLine) {
  EXPECT_EXIT(
      {
        WrappedCalls calls;
        calls.Script("malloc", {.result = 0, .error = ENOMEM});
        (void)TREL_SafeMalloc(5);
      },
      testing::KilledBySignal(SIGABRT), "^TREL_SafeMalloc:3116: Failed to allocate new memory\n$");
}

}  // namespace
}  // namespace trel
