// The entry function of the client.

#ifndef TREL_CLIENT_RUN_H
#define TREL_CLIENT_RUN_H

#include "client/payload.h"
#include "support/status.h"

namespace trel {

/// Runs one invocation: parse, check, connect, send, receive, print. `argv` holds
/// `argc` words and is reordered by getopt_long(3). `largeRequests` is zero-filled and
/// stays the caller's.
///
/// The result is the exit value of the process, of which the system keeps the low
/// 8 bits. Kept on purpose: it is not mapped, so a daemon's status that is a
/// multiple of 256 looks like success.
///
/// Releases the two list buffers on every path that returns; the socket, the
/// output file and a printed reply are left to the end of the process. -h does
/// not return: it ends the process with exit value 0.
[[nodiscard]] ReturnStatus RunClient(int argc, char** argv, LargeRequests& largeRequests);

}  // namespace trel

#endif  // TREL_CLIENT_RUN_H
