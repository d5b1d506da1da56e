// Sends the one request of a run: picks the builder for the command's payload
// kind and hands the bytes to the transport.

#ifndef TREL_CLIENT_REQUEST_H
#define TREL_CLIENT_REQUEST_H

#include "client/client_options.h"
#include "client/command_table.h"
#include "support/status.h"

namespace trel {

/// Builds the payload of `code` and sends the request on the connected `socket`,
/// which stays the caller's. `argv` (`argc` words, as getopt_long(3) has
/// reordered them) gives the positional words, from `options.commandArgIndex` on.
///
/// Returns the status of the send unchanged; prints nothing. A code that no
/// command has is sent as code 1. May change `options.rebalanceParams` and the
/// head of `options.upgradeWhatIf`. set-global-exclusion-list alone allocates: a
/// block that is released after the send, and whose exhaustion ends the process
/// (TREL_SafeCalloc).
[[nodiscard]] ReturnStatus BuildAndSendRequest(int socket, CommandCode code, ClientOptions& options,
                                               int argc, char** argv);

/// The request of block-cdb-cb: the words of `argv` (`argc` words) from
/// `startIndex` to the end and `uuid`, sent on `socket`. Returns the status of
/// the send; reads no reply.
///
/// Kept on purpose: without positional words `startIndex` is 0, and the whole
/// vector is read, option values and the program's name included.
[[nodiscard]] ReturnStatus SendCallbackBlockRequest(int argc, char** argv, int startIndex,
                                                    int socket, const Uuid& uuid);

}  // namespace trel

#endif  // TREL_CLIENT_REQUEST_H
