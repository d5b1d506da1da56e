// socket(2) and connect(2).

#include "core/unix_connect.h"

#include <cerrno>
#include <system_error>

#include "core/unix_address.h"

namespace standin {

Descriptor ConnectTo(const std::string& path) {
  const sockaddr_un address = UnixAddress(path);
  Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connection.Get() < 0 ||
      connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return connection;
}

}  // namespace standin
