// The receive time-out in its real length. It bounds one receive, whatever that waits
// for: header and payload have it once each, every piece of a stream has it anew.

#include <gtest/gtest.h>
#include <poll.h>

#include <future>

#include "cli/replies.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::Call;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

constexpr int PACE_MS = 4000;
/// More bytes than come at that pace within the 20 seconds of the time-out.
constexpr std::size_t MORE_THAN_COME = 8;

/// Lets PACE_MS pass, less if the client hangs up.
Step LetTimePass() {
  return Call{[](int connection) {
    pollfd hangUp{.fd = connection, .events = POLLRDHUP, .revents = 0};
    poll(&hangUp, 1, PACE_MS);
  }};
}

/// Sends `atOnce`, then `slowly` a byte at a time.
std::vector<Step> Dribble(const std::string& atOnce, const std::string& slowly) {
  std::vector<Step> steps = {ReadRequest{}, SendBytes{atOnce}};
  for (const char byte : slowly) {
    steps.emplace_back(LetTimePass());
    steps.emplace_back(SendBytes{std::string(1, byte)});
  }
  return steps;
}

std::future<ClientResult> Start(const std::string& word, const std::vector<Step>& steps) {
  return std::async(std::launch::async, [=] {
    // A -t must not set a time of its own.
    return RunClientAgainst({.words = {word, "-t", "1"}, .steps = steps});
  });
}

void ExpectRun(const std::string& out, const std::string& err, int exitValue, ClientResult run) {
  EXPECT_EQ(run.out, out);
  EXPECT_EQ(run.err, err);
  EXPECT_EQ(run.exitValue, exitValue);
  EXPECT_EQ(run.signal, 0);
}

TEST(ReceiveTimeoutSlow, BoundsAHeaderAndAPayloadAsAWholeAndEachPieceOfAStream) {
  const std::string bytes = Text(MORE_THAN_COME);
  auto silence = Start(SILENT_ONE, {ReadRequest{}, AwaitHangUp{}});
  auto header = Start(PRINTING, Dribble("", Header("00000000", 10)));
  auto payload = Start(PRINTING, Dribble(Header("00000000", bytes.size()), bytes));
  auto stream = Start("stats", Dribble("", bytes));
  auto endlessStream = Start("stats", {ReadRequest{}, SendBytes{"kept"}, AwaitHangUp{}});

  ExpectRun("", "Error received: No answer within the time-out: (null)\n", 11, silence.get());
  // The last byte, the length, has not come.
  ExpectRun("\n", "", 0, header.get());
  ExpectRun("\n", SHORT_PAYLOAD_WARNING, 0, payload.get());
  ExpectRun(bytes, "", 0, stream.get());
  ExpectRun("kept", "", 11, endlessStream.get());
}

}  // namespace
}  // namespace tests
