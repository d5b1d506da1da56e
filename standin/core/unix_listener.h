// A listening Unix-domain stream socket that owns its place in the file system.

#ifndef STANDIN_CORE_UNIX_LISTENER_H
#define STANDIN_CORE_UNIX_LISTENER_H

#include <sys/stat.h>

#include <string>

#include "core/descriptor.h"

namespace standin {

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

  /// Waits for the next client. Throws std::system_error.
  [[nodiscard]] Descriptor Accept() const;

  [[nodiscard]] int Fd() const { return socket_.Get(); }

 private:
  std::string path_;
  Descriptor socket_;
  struct stat place_ {};
};

}  // namespace standin

#endif  // STANDIN_CORE_UNIX_LISTENER_H
