// How the help text is written. Its bytes are compared through the real binary.

#include "client/usage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "client/usage_error.h"
#include "tests/support/temp_folder.h"

namespace trel {
namespace {

using Pieces = std::vector<std::string>;

ssize_t Keep(void* pieces, const char* bytes, std::size_t size) {
  static_cast<Pieces*>(pieces)->emplace_back(bytes, size);
  return static_cast<ssize_t>(size);
}

TEST(PrintUsage, PutsEachLineAndTheOptionsInOnePieceIntoAnOutputWithoutABuffer) {
  Pieces pieces;
  std::FILE* const kept = stdout;
  stdout = fopencookie(&pieces, "w", {.read = {}, .write = Keep, .seek = {}, .close = {}});
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  PrintUsage("@NAME@");
  std::fclose(stdout);
  stdout = kept;

  // After the head each text and then its line end.
  std::string text = tests::ReadFile(TREL_USAGE_TEXT);
  Pieces expected = {text.substr(0, text.find("   "))};
  text.erase(0, expected[0].size());
  while (!text.empty()) {
    const bool options = text.starts_with("\noptions:");
    expected.push_back(text.substr(0, options ? text.size() - 1 : text.find('\n')));
    expected.emplace_back("\n");
    text.erase(0, expected.rbegin()[1].size() + 1);
  }
  EXPECT_EQ(pieces, expected);
}

TEST(ReportUsageError, PrintsNothingWithoutAMessage) {
  testing::internal::CaptureStderr();
  ReportUsageError({});
  ReportUsageError(REPORTED_BY_GETOPT);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace trel
