// Error numbers that a failed call may leave, with what the client makes of
// them.

#ifndef TESTS_CLI_ERRNOS_H
#define TESTS_CLI_ERRNOS_H

#include <string>

namespace tests {

struct Errno {
  int number;
  const char* statusText;   ///< the client's text for the status made of it
  const char* libraryText;  ///< the C library's text for the number itself
  int exitValue;            ///< of a run that ends with that status
};

/// Kept on purpose: a call that fails and leaves `errno` at 0 has succeeded.
inline constexpr Errno NO_ERRNO = {0, "Success", "Success", 0};

inline constexpr Errno ERRNOS[] = {
    {4, "Interrupted system call", "Interrupted system call", 4},
    {5, "Input/output error", "Input/output error", 5},
    {11, "No answer within the time-out", "Resource temporarily unavailable", 11},
    {28, "No space left on device", "No space left on device", 28},
    {32, "Broken pipe", "Broken pipe", 32},
    {104, "Connection reset by peer", "Connection reset by peer", 104},
    {255, "Unknown status 0x2bad00ff", "Unknown error 255", 255},
    {256, "Unknown status 0x2bad0100", "Unknown error 256", 0},
    {-5, "Input/output error", "Unknown error -5", 5},
};

/// The injector's setting that makes the call fail so, for example "send:1".
[[nodiscard]] inline std::string Failing(const std::string& call, const Errno& error) {
  return call + ":errno=" + std::to_string(error.number);
}

/// The injector's setting that asks the call for so many bytes at most.
[[nodiscard]] inline std::string Shortened(const std::string& call, std::size_t bytes) {
  return call + ":short=" + std::to_string(bytes);
}

}  // namespace tests

#endif  // TESTS_CLI_ERRNOS_H
