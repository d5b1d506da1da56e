// Statuses and where they come from.

#include "support/status.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace trel {
namespace {

TEST(Status, HasFixedValues) {
  EXPECT_EQ(STATUS_OK, 0U);
  EXPECT_EQ(STATUS_FAILURE, 0x0bad0001U);
  EXPECT_EQ(STATUS_ERRNO_BASE, 0x2bad0000U);
}

TEST(Status, OfAnErrnoIsTheBaseAndItsAbsoluteValueIn32Bits) {
  EXPECT_EQ(StatusFromErrno(0), 0U);
  EXPECT_EQ(StatusFromErrno(32), 0x2bad0020U);
  EXPECT_EQ(StatusFromErrno(-5), 0x2bad0005U);
  EXPECT_EQ(StatusFromErrno(INT32_MAX), 0xabacffffU);
  EXPECT_EQ(StatusFromErrno(INT32_MIN), 0xabad0000U);
}

}  // namespace
}  // namespace trel
