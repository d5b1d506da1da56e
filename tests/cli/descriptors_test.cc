// Standard descriptors that are closed when the client starts, or that take nothing. The
// socket takes the lowest free number, and whatever the client writes to that number goes
// to the daemon.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "tests/cli/replies.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::HalfClose;
using standin::ReadRequest;
using standin::SendBytes;
using Words = std::vector<std::string>;

enum class GoesTo { CALLER, DAEMON, NOBODY };
using enum GoesTo;

struct Closed {
  std::vector<int> numbers;
  GoesTo output;    ///< what is written to standard output
  GoesTo messages;  ///< what is written to standard error
};

const Closed ALL_CLOSED[] = {
    {{0}, CALLER, CALLER},       {{1}, DAEMON, CALLER},    {{2}, CALLER, DAEMON},
    {{0, 1}, NOBODY, CALLER},    {{0, 2}, CALLER, NOBODY}, {{1, 2}, DAEMON, NOBODY},
    {{0, 1, 2}, NOBODY, NOBODY},
};

class ClosedDescriptors : public testing::TestWithParam<Closed> {
 protected:
  static std::function<void()> CloseThem() {
    return [numbers = GetParam().numbers] {
      for (const int number : numbers) {
        close(number);
      }
    };
  }
};
INSTANTIATE_TEST_SUITE_P(Closed, ClosedDescriptors, testing::ValuesIn(ALL_CLOSED),
                         [](const auto& test) {
                           std::string name = "Number";
                           for (const int number : test.param.numbers) {
                             name += "_" + std::to_string(number);
                           }
                           return name;
                         });

TEST_P(ClosedDescriptors, MakeTheSocketNumberOneOrTwoOrLoseWhatIsWrittenThere) {
  constexpr int BAD_DESCRIPTOR = 9;
  const Closed& closed = GetParam();
  const TempFolder folder;
  const struct {
    Words words;
    std::string request;
    std::string reply;
    std::string output;
    std::string messages;
    int exitValue;
  } rows[] = {
      {{PRINTING},
       "00000006 00000000",
       Frame("00000000", "text"),
       "text\n",
       "",
       closed.output == NOBODY ? BAD_DESCRIPTOR : 0},
      {{"stats"}, "00000001 00000000", "text", "text", "", 0},
      {{PRINTING},
       "00000006 00000000",
       Frame("00000005", "why"),
       "",
       "Error received: Unknown status 0x00000005: why\n",
       5},
      {{"stats", "-o", folder / "f"}, "00000001 00000000", "text", "", "", 0},
  };
  const auto part = [](const std::string& text, GoesTo is, GoesTo wanted) {
    return is == wanted ? text : "";
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.words) + row.reply);
    const ClientResult run = RunClientAgainst(
        {.words = row.words,
         .steps = {ReadRequest{}, SendBytes{row.reply}, HalfClose{}, AwaitHangUp{}},
         .prepare = CloseThem()});
    EXPECT_TRUE(Ended(run, part(row.output, closed.output, CALLER),
                      part(row.messages, closed.messages, CALLER), row.exitValue));
    EXPECT_TRUE(SameBytes(FromHex(row.request) + part(row.output, closed.output, DAEMON) +
                              part(row.messages, closed.messages, DAEMON),
                          run.request));
  }
  EXPECT_EQ(ReadFile(folder / "f"), "text");
}

TEST_P(ClosedDescriptors, ARefusedLineReachesNobodyButTheCaller) {
  const ClientResult run = RunClientAgainst({.words = {"crawler"}, .prepare = CloseThem()});
  EXPECT_FALSE(run.called);
  EXPECT_EQ(run.out.substr(0, 6), GetParam().output == CALLER ? "usage:" : "");
  EXPECT_EQ(run.err,
            GetParam().messages == CALLER ? "UUID must be provided (specify with --uuid)\n" : "");
  EXPECT_EQ(run.exitValue, 1);
}

/// Runs `words` with its standard output set up by `prepare`.
ClientResult RunInto(const Words& words, const std::string& reply,
                     const std::function<void()>& prepare) {
  return RunClientAgainst(
      {.words = words, .steps = {ReadRequest{}, SendBytes{reply}}, .prepare = prepare});
}

/// Standard output becomes a pipe that nobody reads.
void BreakOutput() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
  }
}

void FillOutput() { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); }

void MakeOutputReadOnly() { dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDOUT_FILENO); }

TEST(FailingOutput, OfAPrintedReplyEndsTheRunWithItsErrno) {
  const std::string reply = Frame("00000000", "text");
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, BreakOutput), "", "", 32));
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, FillOutput), "", "", 28));
  EXPECT_TRUE(Ended(RunInto({PRINTING}, reply, MakeOutputReadOnly), "", "", 9));
}

TEST(FailingOutput, OfAStreamGoesUnnoticed) {
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", BreakOutput), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", FillOutput), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats"}, "text", MakeOutputReadOnly), "", "", 0));
  EXPECT_TRUE(Ended(RunInto({"stats", "-o", "/dev/full"}, "text", {}), "", "", 0));
}

}  // namespace
}  // namespace tests
