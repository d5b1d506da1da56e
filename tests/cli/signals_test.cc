// Signals: SIGPIPE is ignored, and nothing else of what the caller has set is changed, so that one
// that ends programs ends the client at once. A client that is stopped while it waits and then
// continued has its system call fail with EINTR, because a receive time-out is set: signal(7).

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <future>
#include <thread>

#include "tests/cli/replies.h"

namespace tests {
namespace {

using Words = std::vector<std::string>;

/// Runs `words` against a daemon that reads the request, sends `bytes` and then nothing;
/// `whileWaiting` is called with the client's number when that has been sent.
ClientResult RunUnanswered(const Words& words, const std::string& bytes,
                           const std::function<void(pid_t)>& whileWaiting,
                           const std::function<void()>& prepare = {}) {
  std::promise<void> sent;
  return RunClientAgainst(
      {.words = words,
       .steps = {ReadRequest{}, SendBytes{bytes},
                 Call{[&](int /*connection*/) { sent.set_value(); }}, AwaitHangUp{}},
       .prepare = prepare,
       .whileRunning = [&](pid_t client) {
         sent.get_future().wait();
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
  const auto expect = [](std::uint64_t blocked, std::uint64_t ignored,
                         const std::function<void()>& prepare) {
    const auto look = [&](pid_t client) {
      EXPECT_EQ(SignalsOf(client, "SigBlk"), blocked);
      EXPECT_EQ(SignalsOf(client, "SigIgn"), ignored);
      EXPECT_EQ(SignalsOf(client, "SigCgt"), 0U);
      kill(client, SIGKILL);
    };
    EXPECT_EQ(RunUnanswered({PRINTING}, "", look, prepare).signal, SIGKILL);
  };
  // The tests may themselves run under nohup(1).
  expect(0, Bit(SIGPIPE), [] { signal(SIGHUP, SIG_DFL); });
  // As nohup(1) leaves them, and a caller that blocks one.
  expect(Bit(SIGUSR1), Bit(SIGPIPE) | Bit(SIGHUP), [] {
    signal(SIGHUP, SIG_IGN);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    sigprocmask(SIG_BLOCK, &one, nullptr);
  });
}

/// One letter; R while the process runs, S while it waits. See proc(5).
char StateOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string stat{std::istreambuf_iterator<char>(file), {}};
  const std::size_t name = stat.rfind(") ");
  return name != std::string::npos ? stat.at(name + 2) : '?';
}

/// Stops the process and continues it. False once it has ended; its end is still to
/// be waited for.
bool StopAndContinue(pid_t process) {
  kill(process, SIGSTOP);
  siginfo_t change{};
  const auto id = static_cast<id_t>(process);
  waitid(P_PID, id, &change, WSTOPPED | WEXITED | WNOWAIT);
  if (change.si_code != CLD_STOPPED) {
    return false;
  }
  waitid(P_PID, id, &change, WSTOPPED);
  kill(process, SIGCONT);
  return true;
}

/// Stops and continues the client whenever it waits, until it ends: one that has not begun to
/// wait for what is missing waits again.
ClientResult RunStopped(const Words& words, const std::string& bytes) {
  return RunUnanswered(words, bytes, [](pid_t client) {
    bool running = true;
    while (running) {
      const char state = StateOf(client);
      running = state != 'Z' && (state != 'S' || StopAndContinue(client));
      std::this_thread::yield();
    }
  });
}

TEST(StoppedClient, TakesWhatHasComeForAllThatComes) {
  const std::string error5 = "Error received: Unknown status 0x00000005: ";
  const std::string interrupted = "Error received: Interrupted system call: (null)\n";
  const struct {
    Words words;
    std::string bytes;
    std::string out;
    std::string err;
    int exitValue;
  } rows[] = {
      {{PRINTING}, "", "", interrupted, 4},
      {{SILENT_ONE}, "", "", interrupted, 4},
      {{PRINTING}, FromHex("00000005 0000"), "", error5 + "(null)\n", 5},
      {{PRINTING}, Zeros(7), "\n", "", 0},
      {{PRINTING}, Header("00000000", 3), Zeros(3) + "\n", "", 0},
      {{PRINTING}, Header("00000005", 3), "", error5 + "\n", 5},
      {{PRINTING}, Header("00000005", 3) + "wh", "\n", SHORT_PAYLOAD_WARNING, 0},
      {{"stats"}, "first piece\n", "first piece\n", "", 4},
      {{"get-obj-crawler-state", "-a"}, "first piece\n", "first piece\n", "", 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.words[0] + " " + testing::PrintToString(row.bytes));
    EXPECT_TRUE(Ended(RunStopped(row.words, row.bytes), row.out, row.err, row.exitValue));
  }
}

/// Of an error reply a length beyond INT_MAX bounds no text.
TEST(StoppedClient, TakesALongPayloadOfWhichNothingHasComeForZerosInBoundedMemory) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "sanitizers take memory of their own";
  }
  malloc_trim(0);  // the peak memory of a process begins with what its parent holds
  for (const std::size_t length : {0x7ffff000U, 0x80000000U, 0xffffffffU}) {
    for (const auto& [status, err, exitValue] :
         {std::tuple{"00000000", "", 0},
          {"00000005", "Error received: Unknown status 0x00000005: \n", 5}}) {
      const ClientResult run = RunStopped({SILENT_ONE}, Header(status, length));
      EXPECT_TRUE(Ended(run, "", err, exitValue));
      EXPECT_LT(run.maxRssKib, FEW_KIB);
    }
  }
}

}  // namespace
}  // namespace tests
