// A daemon that takes every request and hangs up without a word: the client's
// calls of the socket functions end here and are written down.

#ifndef FUZZ_SUPPORT_DAEMON_CALLS_H
#define FUZZ_SUPPORT_DAEMON_CALLS_H

#include <cstddef>
#include <string>
#include <vector>

namespace fuzz {

struct DaemonCalls {
  int sockets = 0;
  int connects = 0;
  std::string address;  ///< all bytes that connect(2) was given
  long timeoutSeconds = -1;
  std::vector<std::string> sends;
  int receives = 0;  ///< calls of recv(2) and of read(2)
};

/// What was written down since the last StartRecording.
[[nodiscard]] const DaemonCalls& RecordedCalls();

void StartRecording();

/// From here on the socket functions are the C library's again.
void StopRecording();

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_DAEMON_CALLS_H
