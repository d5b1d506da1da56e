// A terminal of its own for a test: what a program writes to it comes out byte for byte.

#ifndef TESTS_CLI_TERMINAL_H
#define TESTS_CLI_TERMINAL_H

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "core/descriptor.h"

namespace tests {

class Terminal {
 public:
  /// Throws std::system_error if the system has no terminal left.
  Terminal() {
    termios raw{};
    cfmakeraw(&raw);
    int ours = -1;
    int theirs = -1;
    if (openpty(&ours, &theirs, path_.data(), &raw, nullptr) != 0) {
      throw std::system_error(errno, std::generic_category(), "openpty");
    }
    ours_ = standin::Descriptor(ours);
    theirs_ = standin::Descriptor(theirs);
    fcntl(ours, F_SETFD, FD_CLOEXEC);
    fcntl(theirs, F_SETFD, FD_CLOEXEC);
  }

  [[nodiscard]] std::string Path() const { return path_.data(); }
  /// The end that a program is given as one of its standard descriptors.
  [[nodiscard]] int Theirs() const { return theirs_.Get(); }

  /// Waits for the next line end and returns all that has come up to it. Gives up,
  /// and returns what there is, after a time in which every client has ended.
  [[nodiscard]] std::string ReadLine() const {
    constexpr int LONGER_THAN_ANY_RUN_MS = 30000;
    std::string text;
    pollfd ready{.fd = ours_.Get(), .events = POLLIN, .revents = 0};
    char byte = 0;
    while (!text.ends_with('\n') && poll(&ready, 1, LONGER_THAN_ANY_RUN_MS) == 1 &&
           read(ours_.Get(), &byte, 1) == 1) {
      text += byte;
    }
    return text;
  }

 private:
  standin::Descriptor ours_;
  standin::Descriptor theirs_;
  std::array<char, 64> path_{};
};

}  // namespace tests

#endif  // TESTS_CLI_TERMINAL_H
