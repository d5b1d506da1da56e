// The project's own implementation of the support library's four functions.

#include "support/qslibs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "support/status.h"

namespace trel {
namespace {

using QslibsDeathTest = testing::Test;

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

TEST(StatusText, NamesSuccessFailureAndTheTimeout) {
  EXPECT_STREQ(QSR_ReturnStatusToString(0), "Success");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x0bad0001), "Failure");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad000b), "No answer within the time-out");
}

TEST(StatusText, OfAnErrnoStatusIsTheLibrarysDescription) {
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad0001), "Operation not permitted");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad0002), "No such file or directory");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad0020), "Broken pipe");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad0068), "Connection reset by peer");
  EXPECT_STREQ(QSR_ReturnStatusToString(0x2bad0085), "Memory page has hardware error");
}

TEST(StatusText, OfAnyOtherStatusHoldsItsNumber) {
  for (const auto& [status, digits] :
       std::initializer_list<std::pair<std::uint32_t, const char*>>{{1, "0x00000001"},
                                                                    {5, "0x00000005"},
                                                                    {0x0bad0000, "0x0bad0000"},
                                                                    {0x0bad0002, "0x0bad0002"},
                                                                    {0x2bacffff, "0x2bacffff"},
                                                                    {0x2bad0000, "0x2bad0000"},
                                                                    {0x2bad0029, "0x2bad0029"},
                                                                    {0x2bad006d, "0x2bad006d"},
                                                                    {0x2bad0086, "0x2bad0086"},
                                                                    {0x2badffff, "0x2badffff"},
                                                                    {0xabad0000, "0xabad0000"},
                                                                    {0xffffffff, "0xffffffff"}}) {
    EXPECT_THAT(QSR_ReturnStatusToString(status), testing::EndsWith(std::string(" ") + digits));
  }
}

TEST(StatusText, NeverHoldsTheSeparatorOfAnErrorLine) {
  for (std::uint32_t error = 0; error <= 4096; ++error) {
    EXPECT_EQ(std::strstr(QSR_ReturnStatusToString(STATUS_ERRNO_BASE + error), ": "), nullptr)
        << error;
  }
  EXPECT_EQ(std::strstr(QSR_ReturnStatusToString(0), ": "), nullptr);
  EXPECT_EQ(std::strstr(QSR_ReturnStatusToString(STATUS_FAILURE), ": "), nullptr);
  EXPECT_EQ(std::strstr(QSR_ReturnStatusToString(12345), ": "), nullptr);
}

}  // namespace
}  // namespace trel
