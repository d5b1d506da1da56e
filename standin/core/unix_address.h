// The address of a Unix-domain socket.

#ifndef STANDIN_CORE_UNIX_ADDRESS_H
#define STANDIN_CORE_UNIX_ADDRESS_H

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace standin {

/// Throws std::length_error for a path that leaves no room for its terminator.
[[nodiscard]] inline sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::length_error("socket path of more than 107 bytes: " + path);
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

}  // namespace standin

#endif  // STANDIN_CORE_UNIX_ADDRESS_H
