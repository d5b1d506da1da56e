// The help text against its checked-in copy.

#include "client/usage.h"

#include <gtest/gtest.h>

#include <string>

#include "support/temp_folder.h"

namespace trel {
namespace {

std::string ExpectedFor(const std::string& name) {
  constexpr std::string_view MARK = "@NAME@";
  std::string text = tests::ReadFile(TREL_TEST_DATA "/usage.txt");
  return text.replace(text.find(MARK), MARK.size(), name);
}

TEST(PrintUsage, IsTheFixedTextUnderAnyName) {
  for (const char* name : {"trel-tool", "/usr/sbin/trel-tool", "", "%n%s"}) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    PrintUsage(name);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ExpectedFor(name));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
}

}  // namespace
}  // namespace trel
