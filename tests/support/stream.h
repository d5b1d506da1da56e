// The other side of a connection with the stand-in or the client: calls that block.

#ifndef TESTS_SUPPORT_STREAM_H
#define TESTS_SUPPORT_STREAM_H

#include <cstddef>
#include <string>
#include <string_view>

#include "core/unix_socket.h"

namespace tests {

/// Connects to who listens on `path`. Throws std::system_error.
[[nodiscard]] standin::Descriptor ConnectTo(const std::string& path);

/// Waits for the next client. Throws std::system_error.
[[nodiscard]] standin::Descriptor Accept(const standin::UnixListener& listener);

/// Reads `count` bytes from `fd`, fewer only if the peer hangs up or is gone.
[[nodiscard]] std::string ReadExactly(int fd, std::size_t count);

/// Reads one frame from `fd` and returns its bytes, header included; fewer if the
/// peer hangs up before its end.
[[nodiscard]] std::string ReadFrame(int fd);

/// Writes all of `bytes` to `fd`. False if the peer is gone. Never raises SIGPIPE.
bool WriteAll(int fd, std::string_view bytes);

}  // namespace tests

#endif  // TESTS_SUPPORT_STREAM_H
