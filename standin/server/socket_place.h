// Takes a path in the file system to listen on, carefully: what somebody else uses
// is left alone.

#ifndef STANDIN_SERVER_SOCKET_PLACE_H
#define STANDIN_SERVER_SOCKET_PLACE_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "core/unix_listener.h"

namespace standin {

/// Listens on `path`, whose permission bits become `mode`. A socket that nobody
/// listens on any more is replaced. Throws std::runtime_error with a text for the
/// user if the path is too long, taken by another process, or no socket, and
/// std::system_error. To be called before there is a second thread.
[[nodiscard]] std::unique_ptr<UnixListener> TakeSocketPlace(const std::string& path, mode_t mode);

}  // namespace standin

#endif  // STANDIN_SERVER_SOCKET_PLACE_H
