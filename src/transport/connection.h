// Opens the one connection of a run to the daemon's Unix-domain stream socket.

#ifndef TREL_TRANSPORT_CONNECTION_H
#define TREL_TRANSPORT_CONNECTION_H

#include <cstdint>

#include "support/status.h"

namespace trel {

/// Makes a stream socket, sets its receive time-out and connects it, in that
/// order (unix(7), socket(7) SO_RCVTIMEO).
///
/// `socketPath`: terminated path of the daemon's socket. Kept on purpose: only
/// its first 107 bytes are used, without a message, and the address handed to
/// connect(2) is always the full 110 bytes.
/// `receiveTimeoutSeconds`: bounds each later receive and read. It is set for
/// every command, also for those that read no reply. Sending has no time-out.
/// `socketOut`: receives the descriptor on success and is untouched otherwise.
/// Nobody closes it: the end of the process does.
///
/// A step that fails is reported through perror(3) as "socket error", "set
/// timeout error" or "connect error" and yields STATUS_FAILURE whatever `errno`
/// says; a descriptor made by then is left to the end of the process.
[[nodiscard]] ReturnStatus OpenDaemonConnection(const char* socketPath,
                                                std::uint32_t receiveTimeoutSeconds,
                                                int* socketOut);

}  // namespace trel

#endif  // TREL_TRANSPORT_CONNECTION_H
