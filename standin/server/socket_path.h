// Takes a path in the file system to listen on, carefully: what somebody else uses is left
// alone.

#ifndef STANDIN_SERVER_SOCKET_PATH_H
#define STANDIN_SERVER_SOCKET_PATH_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "core/unix_listener.h"

namespace standin {

/// Listens on `path`, whose permission bits become `mode`. A socket that nobody listens on
/// any more is replaced; of those who try at the same moment one succeeds. Null while
/// another process looks at the path: to be tried again. Throws std::runtime_error with a
/// text for the user if the path is empty, too long, taken by another process, or no
/// socket, and std::system_error. Never waits.
[[nodiscard]] std::unique_ptr<UnixListener> TakeSocketPath(const std::string& path, mode_t mode);

}  // namespace standin

#endif  // STANDIN_SERVER_SOCKET_PATH_H
