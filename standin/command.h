// The command that the stand-in may run beside itself: a script under test.

#ifndef STANDIN_COMMAND_H
#define STANDIN_COMMAND_H

#include <sys/types.h>

#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace standin {

class Command {
 public:
  /// Starts the program that the first word names, in a process group of its own, with
  /// default signal handling. What it leaves running becomes this process's child.
  /// `stream`: what it has as its standard input and output instead of ours. Throws
  /// std::system_error.
  explicit Command(std::vector<std::string> words, std::optional<int> stream = std::nullopt);
  /// Kills it and what it has left running.
  ~Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Whether it has ended; what it leaves running gets a SIGTERM then. Never waits.
  [[nodiscard]] bool HasEnded();
  /// Whether all that it has left running has ended too. Requires: it has ended. Never waits.
  [[nodiscard]] bool IsGone();
  /// Sends a signal to it and to all that it has started.
  void Signal(int signal) const;
  /// How it ended, empty if with exit value 0.
  [[nodiscard]] std::string Failure() const;
  /// Its exit value, or EXIT_SIGNAL and the number of the signal that ended it.
  [[nodiscard]] int ExitValue() const;

 private:
  [[nodiscard]] bool Ended() const { return end_.si_pid == process_; }
  /// Processes that it has started and that have lost their parent.
  [[nodiscard]] std::vector<pid_t> Orphans() const;

  std::string name_;
  std::vector<pid_t> others_;  ///< children that are not its own
  pid_t process_{};
  siginfo_t end_{};  ///< how it ended, once it has
};

}  // namespace standin

#endif  // STANDIN_COMMAND_H
