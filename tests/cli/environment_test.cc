// The caller's environment: POSIXLY_CORRECT is the C library's and stays in force; no
// locale changes a number or a message.

#include <gtest/gtest.h>

#include "cli/replies.h"
#include "support/temp_folder.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-0123-456789abcdef";

TEST(PosixlyCorrect, EndsTheOptionsAtTheCommandWord) {
  const Words correct = {"POSIXLY_CORRECT=1"};
  const ClientResult refused =
      RunClientAgainst({.words = {"crawler", "-u", UUID}, .environment = correct});
  EXPECT_EQ(refused.err, "UUID must be provided (specify with --uuid)\n");
  EXPECT_EQ(refused.exitValue, 1);
  // What looks like an option is a positional word then.
  const ClientResult level = RunClientAgainst(
      {.words = {"log-level", "-a"}, .steps = {ReadRequest{}}, .environment = correct});
  EXPECT_TRUE(SameBytes(FromHex("00000007 00000002") + "-a", level.request));
}

/// A folder with a locale of which the decimal point is a comma.
class CommaLocale : public testing::Test {
 protected:
  void SetUp() override {
    const ProcessResult made = RunProcess(
        {.arguments = {"localedef", "-i", "de_DE", "-f", "UTF-8", folder_ / "de_DE.UTF-8"},
         .program = "/usr/bin/localedef"});
    if (made.exitValue != 0) {
      GTEST_SKIP() << "needs the package locales: " << made.err;
    }
  }
  [[nodiscard]] ClientResult Run(const Words& words) const {
    return RunClientAgainst(
        {.words = words,
         .steps = {ReadRequest{}, SendBytes{Zeros(8)}},
         .environment = {"LOCPATH=" + folder_ / "", "LC_ALL=de_DE.UTF-8", "LANGUAGE=de"}});
  }

 private:
  TempFolder folder_;
};

TEST_F(CommaLocale, ChangesNoNumber) {
  for (const auto& [word, value] : {std::pair{"0.5", 0.5}, {"0,5", 0.0}}) {
    const ClientResult run = Run({"start-proactive-rebalance", "1", word, "2", "3"});
    EXPECT_TRUE(SameBytes(FromHex("0000000a 00000020") + InMemory(std::uint64_t{1}) +
                              InMemory(value) + InMemory(std::uint64_t{2}) +
                              InMemory(std::uint64_t{3}),
                          run.request));
  }
}

}  // namespace
}  // namespace tests
