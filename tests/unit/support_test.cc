// Statuses and where they come from, and the project's own implementation of the support
// library's four functions.

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/qslibs.h"
#include "support/status.h"

namespace trel {
namespace {

using QslibsDeathTest = testing::Test;

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

TEST(Warning, WritesExactlyTheFormattedText) {
  testing::internal::CaptureStderr();
  Warning("no line end");
  Warning("%s-%d|", "text", -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "no line endtext--1|");
}

TEST_F(QslibsDeathTest, PanicWritesTheTextAndALineEndAndAborts) {
  EXPECT_EXIT(Panic("%s:%d", "place", 7), testing::KilledBySignal(SIGABRT), "^place:7\n$");
}

TEST(UtilSafeStrdup0, CopiesTheText) {
  const char* text = "{\"a\": 1}";
  char* copy = UtilSafeStrdup0(text);
  EXPECT_STREQ(copy, text);
  EXPECT_NE(copy, text);
  std::free(copy);
}

/// No text has the ": " that parts the pieces of an error line; the C library's of ETOOMANYREFS
/// would.
TEST(StatusText, OfEveryErrnoIsTheLibrarysDescriptionOrItsNumber) {
  for (std::uint32_t error = 0; error <= 4096; ++error) {
    char number[] = "Unknown status 0x2bad0000";
    std::snprintf(number, sizeof number, "Unknown status 0x%08x", STATUS_ERRNO_BASE + error);
    const char* known =
        error == 0 || error == ETOOMANYREFS ? nullptr : strerrordesc_np(static_cast<int>(error));
    EXPECT_STREQ(QSR_ReturnStatusToString(STATUS_ERRNO_BASE + error),
                 error == 11        ? "No answer within the time-out"
                 : known != nullptr ? known
                                    : number);
  }
}

TEST(StatusText, OfAnyOtherStatusButSuccessAndFailureIsItsNumber) {
  EXPECT_STREQ(QSR_ReturnStatusToString(0), "Success");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x0bad0001), "Failure");
  for (const auto& [status, text] : {std::pair{1U, "Unknown status 0x00000001"},
                                     {0x0bad0000U, "Unknown status 0x0bad0000"},
                                     {0x0bad0002U, "Unknown status 0x0bad0002"},
                                     {0x2bacffffU, "Unknown status 0x2bacffff"},
                                     {0x7fffffffU, "Unknown status 0x7fffffff"},
                                     {0x80000000U, "Unknown status 0x80000000"},
                                     {0xabacffffU, "Unknown status 0xabacffff"},
                                     {0xabad0000U, "Unknown status 0xabad0000"},
                                     {0xffffffffU, "Unknown status 0xffffffff"}}) {
    EXPECT_STREQ(QSR_ReturnStatusToString(status), text);
  }
}

}  // namespace
}  // namespace trel
