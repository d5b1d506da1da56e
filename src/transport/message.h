// Framed messages on the daemon's socket: an 8-byte header of two big-endian
// 32-bit fields, then an opaque payload. Knows no command and prints no reply.

#ifndef TREL_TRANSPORT_MESSAGE_H
#define TREL_TRANSPORT_MESSAGE_H

#include <cstddef>
#include <cstdint>

#include "support/status.h"

namespace trel {

/// Number of a command: the first field of a request's header.
using CommandCode = std::uint32_t;

/// Sends one request frame: the header (`code`, low 32 bits of `length`) with
/// one send(2), then the payload with another unless `length` is 0.
///
/// `payload`: `length` bytes, owned by the caller; may be null when `length` is
/// 0. Returns STATUS_OK, or the status of `errno` if a send failed; after a
/// failed header the payload is not tried. Prints nothing.
///
/// Kept on purpose: a send that takes fewer bytes than asked is a success and
/// is not repeated, and a send that fails with `errno` 0 gives STATUS_OK.
[[nodiscard]] ReturnStatus SendCommand(int socket, CommandCode code, const void* payload,
                                       std::size_t length);

/// Receives one reply frame: the header, then as many payload bytes as it
/// announces, each with one recv(2) and MSG_WAITALL.
///
/// Returns the status field of the header. On that path `*lengthOut` is the
/// payload's length in bytes and `*payloadOut` the payload (null when the length
/// is 0), which the caller owns and may release with free(3). The payload is
/// not terminated. Either out-pointer may be null; a payload that nobody takes
/// is then not released.
///
/// The out-values stay untouched when
/// - the header receive fails: the result is the status of `errno`, which is
///   STATUS_OK for `errno` 0;
/// - fewer payload bytes arrive than were announced: a warning is printed and
///   the result is STATUS_OK, whatever the status field said.
/// A payload too large to allocate ends the process (TREL_SafeMalloc).
///
/// Kept on purpose: the header's count is not checked, so bytes that did not
/// arrive read as zero and a daemon that hangs up without a reply is an empty
/// success; and a payload receive that fails passes as a complete payload, of
/// which every byte is zero.
[[nodiscard]] ReturnStatus ReceiveReply(int socket, std::uint32_t* lengthOut, void** payloadOut);

}  // namespace trel

#endif  // TREL_TRANSPORT_MESSAGE_H
