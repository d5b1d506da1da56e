// Looks at the process at the client's end of a connection, from the daemon's side.

#ifndef TESTS_SUPPORT_PEER_SOCKET_H
#define TESTS_SUPPORT_PEER_SOCKET_H

#include <sys/time.h>

namespace tests {

/// The receive time-out that the process at the other end of `connection` has set
/// on its socket. Throws std::system_error if its socket cannot be looked at.
[[nodiscard]] timeval ReceiveTimeoutOfPeer(int connection);

/// The peak resident memory, in KiB, of the process at the other end. Throws if it
/// cannot be looked at.
[[nodiscard]] long PeakMemoryOfPeerKib(int connection);

}  // namespace tests

#endif  // TESTS_SUPPORT_PEER_SOCKET_H
