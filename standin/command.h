// The command that the stand-in may run beside itself: a script under test.

#ifndef STANDIN_COMMAND_H
#define STANDIN_COMMAND_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace standin {

class Command {
 public:
  /// Starts the program that the first word names, in a process group of its own, with
  /// default signal handling. Throws std::system_error.
  explicit Command(std::vector<std::string> words);
  /// Kills what is left of its process group.
  ~Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Whether it has ended; never waits.
  [[nodiscard]] bool HasEnded();
  /// Sends a signal to it and to all that it has started.
  void Signal(int signal) const;
  /// How it ended, empty if with exit value 0.
  [[nodiscard]] std::string Failure() const;

 private:
  std::string name_;
  pid_t process_ = -1;
  bool ended_ = false;
  int status_ = 0;
};

}  // namespace standin

#endif  // STANDIN_COMMAND_H
