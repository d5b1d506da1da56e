// The exit value is the low byte of the daemon's status, with no mapping between.

#include <gtest/gtest.h>

#include "tests/cli/replies.h"

namespace tests {
namespace {

TEST(ReplyStatus, EndsAsTheExitValue) {
  for (const auto& [status, text, exitValue] :
       {std::tuple{"00000005", "Unknown status 0x00000005", 5},
        {"000000ff", "Unknown status 0x000000ff", 255},
        // Kept on purpose: a multiple of 256 exits with 0.
        {"00000100", "Unknown status 0x00000100", 0},
        {"0bad0001", "Failure", 1},
        {"2bad0020", "Broken pipe", 32},
        {"ffffffff", "Unknown status 0xffffffff", 255}}) {
    for (const std::string& word : {PRINTING, SILENT_ONE}) {
      EXPECT_TRUE(Ended(RunWithReply(word, Frame(status, "why")), "",
                        std::string("Error received: ") + text + ": why\n", exitValue));
    }
  }
}

}  // namespace
}  // namespace tests
