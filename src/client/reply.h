// What the run prints once the request has been sent, and the status it ends
// with, by the command's reply mode.

#ifndef TREL_CLIENT_REPLY_H
#define TREL_CLIENT_REPLY_H

#include "client/client_options.h"
#include "client/command_table.h"
#include "support/status.h"

namespace trel {

/// Handles the reply to `command` on `socket`, which stays the caller's, and
/// returns the status of the run. `sendStatus` is what sending returned.
///
/// Framed replies: a send that failed, or a status other than STATUS_OK, is
/// reported through Warning and returned. With REPLY_PRINT the payload goes to
/// the descriptor of standard output with one write(2), also when it is empty,
/// and a line end follows through the buffer of standard output; a write that
/// fails gives the status of `errno`. An error reply's payload is released, any
/// other is left to the end of the process.
///
/// Streamed replies: read in pieces of at most 1023 bytes, each printed up to its
/// first zero byte, to standard output or to `options.outputPath`, which is
/// created or truncated after the send and before the first read and is never
/// closed here. A file that does not open or a read that fails gives the status
/// of `errno`, without a message.
///
/// Kept on purpose: a short payload counts as an empty success and a partial
/// write as a whole one; errors of buffered output go unnoticed; a failed send of
/// `stats` or of a command without a reply prints nothing.
[[nodiscard]] ReturnStatus HandleReply(int socket, const CommandSpec& command,
                                       const ClientOptions& options, ReturnStatus sendStatus);

}  // namespace trel

#endif  // TREL_CLIENT_REPLY_H
