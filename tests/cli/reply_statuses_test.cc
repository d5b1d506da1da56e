// The daemon's status is reported by name and passed on: its low byte is the exit
// value, with no mapping between.

#include <gtest/gtest.h>

#include <cstring>

#include "cli/replies.h"

namespace tests {
namespace {

struct Status {
  std::string word;  ///< eight hexadecimal digits
  const char* text;
  int exitValue;
};

void PrintTo(const Status& status, std::ostream* out) { *out << status.word; }

const Status STATUSES[] = {
    {"00000001", "Unknown status 0x00000001", 1},
    {"00000005", "Unknown status 0x00000005", 5},
    {"000000ff", "Unknown status 0x000000ff", 255},
    // Kept on purpose: a multiple of 256 exits with 0.
    {"00000100", "Unknown status 0x00000100", 0},
    {"0bad0000", "Unknown status 0x0bad0000", 0},
    {"0bad0001", "Failure", 1},
    {"0bad0002", "Unknown status 0x0bad0002", 2},
    {"2bacffff", "Unknown status 0x2bacffff", 255},
    {"2bad0000", "Unknown status 0x2bad0000", 0},
    {"2bad0001", "Operation not permitted", 1},
    {"2bad000b", "No answer within the time-out", 11},
    {"2bad0020", "Broken pipe", 32},
    {"2bad0085", "Memory page has hardware error", 133},
    {"2bad0086", "Unknown status 0x2bad0086", 134},
    {"2bad0100", "Unknown status 0x2bad0100", 0},
    {"7fffffff", "Unknown status 0x7fffffff", 255},
    {"80000000", "Unknown status 0x80000000", 0},
    {"abacffff", "Unknown status 0xabacffff", 255},
    {"ffffffff", "Unknown status 0xffffffff", 255},
};

class ReplyStatus : public testing::TestWithParam<Status> {};
INSTANTIATE_TEST_SUITE_P(Of, ReplyStatus, testing::ValuesIn(STATUSES),
                         [](const auto& test) { return "Word" + test.param.word; });

TEST_P(ReplyStatus, IsReportedByNameAndEndsAsTheExitValue) {
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    const std::string head = std::string("Error received: ") + GetParam().text + ": ";
    EXPECT_TRUE(Ended(RunWithReply(word, Frame(GetParam().word, "why")), "", head + "why\n",
                      GetParam().exitValue));
    const ClientResult withoutText = RunWithReply(word, Frame(GetParam().word, ""));
    EXPECT_EQ(withoutText.err, head + "(null)\n");
    EXPECT_EQ(withoutText.exitValue, GetParam().exitValue);
  }
}

TEST(ReplyStatusOfErrno, EndsAsThatErrnoForEveryLowByte) {
  for (int error = 0; error <= 255; ++error) {
    SCOPED_TRACE(error);
    std::ostringstream word;
    word << "2bad00" << std::hex << std::setw(2) << std::setfill('0') << error;
    const ClientResult run = RunWithReply(SILENT_ONE, Frame(word.str(), "why"));
    EXPECT_EQ(run.exitValue, error);
    EXPECT_EQ(run.out, "");
    // The C library's text of 109 has the ": " that parts the pieces of the line.
    const char* known = error == 0 || error == 109 ? nullptr : strerrordesc_np(error);
    const std::string text = known == nullptr ? "Unknown status 0x" + word.str()
                             : error == 11    ? "No answer within the time-out"
                                              : known;
    EXPECT_EQ(run.err, "Error received: " + text + ": why\n");
  }
}

}  // namespace
}  // namespace tests
