// Standard output on a terminal: a stream's lines are seen as they come.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::Call;
using standin::Descriptor;
using standin::ReadRequest;
using standin::SendBytes;

TEST(ClientOnATerminal, ShowsEachLineOfAStreamBeforeTheNextIsSent) {
  termios raw{};
  cfmakeraw(&raw);
  int ours = -1;
  int theirs = -1;
  ASSERT_EQ(openpty(&ours, &theirs, nullptr, &raw, nullptr), 0);
  const Descriptor ourEnd(ours);
  Descriptor theirEnd(theirs);
  fcntl(ours, F_SETFD, FD_CLOEXEC);
  fcntl(theirs, F_SETFD, FD_CLOEXEC);
  const Call await{[&](int /*connection*/) {
    char byte = '\0';
    while (byte != '\n' && read(ours, &byte, 1) == 1) {
    }
  }};
  // A client whose lines do not come runs into its time-out, and then the terminal is at its end.
  const ClientResult run = RunClientAgainst(
      {.words = {"stats"},
       .steps = {ReadRequest{}, SendBytes{"first\n"}, await, SendBytes{"second\n"}, await},
       .prepare = [&] { dup2(theirs, STDOUT_FILENO); },
       .whileRunning = [&](pid_t /*client*/) { theirEnd.Close(); }});
  EXPECT_EQ(run.exitValue, 0);
}

}  // namespace
}  // namespace tests
