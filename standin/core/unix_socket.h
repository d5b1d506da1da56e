// Unix-domain sockets: connecting, listening, and taking a path in the file system to listen
// on, carefully: what somebody else uses is left alone.

#ifndef STANDIN_CORE_UNIX_SOCKET_H
#define STANDIN_CORE_UNIX_SOCKET_H

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <memory>
#include <string>

#include "core/descriptor.h"

namespace standin {

/// Connects a socket of this type and these flags to what listens on `path`. -1, with errno
/// set, if that fails. Throws std::length_error for a path over 107 bytes.
[[nodiscard]] Descriptor TryConnect(const std::string& path, int type);

/// Listens from construction on; the path is removed on destruction, unless
/// something else has taken its place by then.
class UnixListener {
 public:
  /// Binds and listens on `path`, at most 107 bytes, which must not exist yet.
  /// Throws std::system_error if a call fails, std::length_error for a long path.
  explicit UnixListener(std::string path);
  ~UnixListener();
  UnixListener(const UnixListener&) = delete;
  UnixListener& operator=(const UnixListener&) = delete;

  [[nodiscard]] int Fd() const { return socket_.Get(); }

 private:
  std::string path_;
  Descriptor socket_;
  struct stat place_ {};
};

/// Listens on `path`, whose permission bits become `mode`. A socket that nobody listens on
/// any more is replaced; of those who try at the same moment one succeeds. Null while
/// another process looks at the path: to be tried again. Throws std::runtime_error with a
/// text for the user if the path is empty, too long, taken by another process, or no
/// socket, and std::system_error. Never waits.
[[nodiscard]] std::unique_ptr<UnixListener> TakeSocketPath(const std::string& path, mode_t mode);

}  // namespace standin

#endif  // STANDIN_CORE_UNIX_SOCKET_H
