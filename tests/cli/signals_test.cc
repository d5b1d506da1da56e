// Signals and times: SIGPIPE is ignored, and nothing else of what the caller has set
// is changed. A signal that ends programs ends the client at once.

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <future>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using standin::AwaitHangUp;
using standin::Call;
using standin::ReadRequest;

/// Runs a command whose reply never comes; `whileWaiting` is called with the client's
/// number when the daemon has its request.
ClientResult RunUnanswered(const std::function<void(pid_t)>& whileWaiting,
                           const std::function<void()>& prepare = {}) {
  std::promise<void> asked;
  return RunClientAgainst(
      {.words = {PRINTING, "-t", "1"},
       .steps = {ReadRequest{}, Call{[&](int /*connection*/) { asked.set_value(); }},
                 AwaitHangUp{}},
       .prepare = prepare,
       .whileRunning = [&](pid_t client) {
         asked.get_future().wait();
         whileWaiting(client);
       }});
}

/// The signals of one line of /proc/PID/status as a set: signal n is bit n - 1.
std::uint64_t SignalsOf(pid_t process, const std::string& label) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(label + ":")) {
      return std::stoull(line.substr(label.size() + 1), nullptr, 16);
    }
  }
  ADD_FAILURE() << "no " << label;
  return 0;
}

constexpr std::uint64_t Bit(int signal) { return std::uint64_t{1} << (signal - 1); }

TEST(Signals, AreLeftAsTheCallerSetThemButForTheBrokenPipe) {
  if (!ClientRunsBare()) {
    GTEST_SKIP() << "what the client runs under handles signals of its own";
  }
  std::uint64_t blocked = 0;
  std::uint64_t ignored = 0;
  std::uint64_t caught = 0;
  const auto look = [&](pid_t client) {
    blocked = SignalsOf(client, "SigBlk");
    ignored = SignalsOf(client, "SigIgn");
    caught = SignalsOf(client, "SigCgt");
    kill(client, SIGKILL);
  };
  // The tests may themselves run under nohup(1).
  (void)RunUnanswered(look, [] { signal(SIGHUP, SIG_DFL); });
  EXPECT_EQ(blocked, 0U);
  EXPECT_EQ(ignored, Bit(SIGPIPE));
  EXPECT_EQ(caught, 0U);
  // As nohup(1) leaves them, and a caller that blocks one.
  (void)RunUnanswered(look, [] {
    signal(SIGHUP, SIG_IGN);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    sigprocmask(SIG_BLOCK, &one, nullptr);
  });
  EXPECT_EQ(blocked, Bit(SIGUSR1));
  EXPECT_EQ(ignored, Bit(SIGPIPE) | Bit(SIGHUP));
  EXPECT_EQ(caught, 0U);
}

class EndingSignal : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Of, EndingSignal, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT),
                         [](const auto& test) { return sigabbrev_np(test.param); });

TEST_P(EndingSignal, EndsAWaitingClientAtOnce) {
  const ClientResult run =
      RunUnanswered([](pid_t client) { kill(client, GetParam()); }, [] { DumpNoCore(); });
  EXPECT_EQ(run.signal, GetParam());
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
}

}  // namespace
}  // namespace tests
