// The receive time-out in its real length. It bounds one receive, whatever that waits
// for: header and payload have it once each, every piece of a stream has it anew.

#include <gtest/gtest.h>
#include <poll.h>

#include <future>

#include "tests/cli/replies.h"

namespace tests {
namespace {

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

TEST(ReceiveTimeoutSlow, BoundsAHeaderAndAPayloadAsAWholeAndEachPieceOfAStream) {
  const std::string bytes = Text(MORE_THAN_COME);
  auto silence = Start(SILENT_ONE, {ReadRequest{}, AwaitHangUp{}});
  auto header = Start(PRINTING, Dribble("", Header("00000000", 10)));
  auto payload = Start(PRINTING, Dribble(Header("00000000", bytes.size()), bytes));
  auto stream = Start("stats", Dribble("", bytes));
  auto endlessStream = Start("stats", {ReadRequest{}, SendBytes{"kept"}, AwaitHangUp{}});

  EXPECT_TRUE(
      Ended(silence.get(), "", "Error received: No answer within the time-out: (null)\n", 11));
  // The last byte, the length, has not come.
  EXPECT_TRUE(Ended(header.get(), "\n", "", 0));
  EXPECT_TRUE(Ended(payload.get(), "\n", SHORT_PAYLOAD_WARNING, 0));
  EXPECT_TRUE(Ended(stream.get(), bytes, "", 0));
  EXPECT_TRUE(Ended(endlessStream.get(), "kept", "", 11));
}

}  // namespace
}  // namespace tests
