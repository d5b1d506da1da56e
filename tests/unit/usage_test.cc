// How the help text is written. Its bytes are compared through the real binary.

#include "client/usage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "client/command_table.h"
#include "client/usage_error.h"
#include "tests/support/temp_folder.h"

namespace trel {
namespace {

using Pieces = std::vector<std::string>;

ssize_t Keep(void* pieces, const char* bytes, std::size_t size) {
  static_cast<Pieces*>(pieces)->emplace_back(bytes, size);
  return static_cast<ssize_t>(size);
}

/// What an output without a buffer is given, piece by piece.
Pieces PiecesOfUsage(const char* name) {
  Pieces pieces;
  std::FILE* const kept = stdout;
  stdout = fopencookie(&pieces, "w", {.read = {}, .write = Keep, .seek = {}, .close = {}});
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  PrintUsage(name);
  std::fclose(stdout);
  stdout = kept;
  return pieces;
}

TEST(PrintUsage, PutsEachLineAndTheOptionsInOnePiece) {
  const Pieces pieces = PiecesOfUsage("%n%s");
  std::string text;
  for (const std::string& piece : pieces) {
    text += piece;
  }
  constexpr std::string_view MARK = "@NAME@";
  std::string expected = tests::ReadFile(TREL_USAGE_TEXT);
  EXPECT_EQ(text, expected.replace(expected.find(MARK), MARK.size(), "%n%s"));

  // The head, then each text and its line end.
  EXPECT_EQ(pieces.at(1), "   stats\t\tRetrieve TREL stats");
  EXPECT_EQ(pieces.at(2), "\n");
  EXPECT_TRUE(pieces.at(pieces.size() - 2).starts_with("\noptions:\n"));
  std::size_t listed = 0;
  for (const CommandSpec& command : COMMAND_TABLE) {
    listed += command.helpDescription != nullptr ? 1 : 0;
  }
  EXPECT_EQ(pieces.size(), 1 + 2 * listed + 2);
}

TEST(ReportUsageError, PrintsNothingWithoutAMessage) {
  testing::internal::CaptureStderr();
  ReportUsageError({});
  ReportUsageError(REPORTED_BY_GETOPT);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace trel
