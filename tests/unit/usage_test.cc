// The help text against its checked-in copy.

#include "client/usage.h"

#include <gtest/gtest.h>

#include <string>

#include "support/temp_folder.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

std::string ExpectedFor(const std::string& name) {
  constexpr std::string_view MARK = "@NAME@";
  std::string text = tests::ReadFile(TREL_USAGE_TEXT);
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

TEST(PrintUsage, PutsEachLineAndTheOptionsInOnePiece) {
  const std::string expected = ExpectedFor("name");
  testing::internal::CaptureStdout();
  std::vector<std::string> pieces;
  {
    tests::WrappedCalls calls;
    PrintUsage("name");
    pieces = calls.Seen({"puts"});
  }
  (void)testing::internal::GetCapturedStdout();
  ASSERT_EQ(pieces.size(), 33U);
  std::string text = "usage: name <options> <cmd> <args>\n\ncommands:\n";
  for (const std::string& piece : pieces) {
    text += piece.substr(5, piece.size() - 6) + "\n";
  }
  EXPECT_EQ(text, expected);
  EXPECT_EQ(pieces[0], "puts(   stats\t\tRetrieve TREL stats)");
  EXPECT_TRUE(pieces[32].starts_with("puts(\noptions:\n"));
}

}  // namespace
}  // namespace trel
