// A client that is stopped while it waits and then continued: with a receive
// time-out set, signal(7) has the system call fail with EINTR.

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

using standin::AwaitHangUp;
using standin::Call;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

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

/// Runs `words` against a daemon that reads the request, sends `bytes` and then
/// nothing. The client is stopped and continued whenever it waits, until it ends:
/// one that has not begun to wait for what is missing waits again.
ClientResult RunStopped(const std::vector<std::string>& words, const std::string& bytes) {
  std::promise<void> answered;
  const std::vector<Step> steps = {ReadRequest{}, SendBytes{bytes},
                                   Call{[&](int /*connection*/) { answered.set_value(); }},
                                   AwaitHangUp{}};
  return RunClientAgainst({.words = words, .steps = steps, .whileRunning = [&](pid_t client) {
                             answered.get_future().wait();
                             bool running = true;
                             while (running) {
                               const char state = StateOf(client);
                               running = state != 'Z' && (state != 'S' || StopAndContinue(client));
                               std::this_thread::yield();
                             }
                           }});
}

TEST(StoppedClient, ReportsAnInterruptedReceiveOfTheHeader) {
  for (const std::string& word : {PRINTING, SILENT_ONE}) {
    EXPECT_TRUE(
        Ended(RunStopped({word}, ""), "", "Error received: Interrupted system call: (null)\n", 4));
  }
}

TEST(StoppedClient, TakesTheHeaderAsFarAsItHasCome) {
  EXPECT_TRUE(Ended(RunStopped({PRINTING}, FromHex("00000005 0000")), "",
                    "Error received: Unknown status 0x00000005: (null)\n", 5));
  const ClientResult zero = RunStopped({PRINTING}, Zeros(7));
  EXPECT_TRUE(Ended(zero, "\n", "", 0));
}

TEST(StoppedClient, TakesAPayloadOfWhichNothingHasComeForZeros) {
  EXPECT_TRUE(Ended(RunStopped({PRINTING}, Header("00000000", 3)), Zeros(3) + "\n", "", 0));
  const ClientResult failing = RunStopped({PRINTING}, Header("00000005", 3));
  EXPECT_TRUE(Ended(failing, "", "Error received: Unknown status 0x00000005: \n", 5));
}

TEST(StoppedClient, TakesALongPayloadOfWhichNothingHasComeForZerosInBoundedMemory) {
  if (ClientIsSanitized()) {
    GTEST_SKIP() << "sanitizers take memory of their own";
  }
  malloc_trim(0);  // the peak memory of a process begins with what its parent holds
  constexpr long FEW_KIB = 256 * 1024;
  for (const std::size_t length : {0x7ffff000U, 0x80000000U, 0xffffffffU}) {
    const ClientResult success = RunStopped({SILENT_ONE}, Header("00000000", length));
    EXPECT_EQ(success.out + success.err, "");
    EXPECT_EQ(success.exitValue, 0);
    EXPECT_LT(success.maxRssKib, FEW_KIB);
    const ClientResult error = RunStopped({SILENT_ONE}, Header("00000005", length));
    EXPECT_EQ(error.err, "Error received: Unknown status 0x00000005: \n");
    EXPECT_EQ(error.exitValue, 5);
    EXPECT_LT(error.maxRssKib, FEW_KIB);
  }
}

TEST(StoppedClient, WarnsOfAPayloadOfWhichAPartHasCome) {
  EXPECT_TRUE(
      Ended(RunStopped({PRINTING}, Header("00000005", 3) + "wh"), "\n", SHORT_PAYLOAD_WARNING, 0));
}

TEST(StoppedClient, EndsAStreamAndKeepsWhatHasCome) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"stats"}, {"get-obj-crawler-state", "-a"}}) {
    EXPECT_TRUE(Ended(RunStopped(words, "first piece\n"), "first piece\n", "", 4));
  }
}

}  // namespace
}  // namespace tests
