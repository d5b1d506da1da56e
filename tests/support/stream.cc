// connect(2), accept4(2), recv(2) and send(2).

#include "tests/support/stream.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "core/frame.h"

namespace tests {

standin::Descriptor ConnectTo(const std::string& path) {
  standin::Descriptor connection = standin::TryConnect(path, SOCK_STREAM);
  if (!connection.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return connection;
}

standin::Descriptor Accept(const standin::UnixListener& listener) {
  standin::Descriptor client(accept4(listener.Fd(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!client.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "accept");
  }
  return client;
}

std::string ReadExactly(int fd, std::size_t count) {
  // Grown as bytes arrive: an announced length is no reason to allocate it.
  std::array<char, 16384> piece;
  std::string bytes;
  while (bytes.size() < count) {
    const ssize_t received =
        recv(fd, piece.data(), std::min(piece.size(), count - bytes.size()), 0);
    if (received == 0 || (received < 0 && errno != EINTR)) {
      break;
    }
    bytes.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
  }
  return bytes;
}

std::string ReadFrame(int fd) {
  std::string bytes = ReadExactly(fd, standin::HEADER_SIZE);
  if (bytes.size() == standin::HEADER_SIZE) {
    bytes += ReadExactly(fd, standin::DecodeHeader(bytes).length);
  }
  return bytes;
}

bool WriteAll(int fd, std::string_view bytes) {
  ssize_t sent = 0;
  while (!bytes.empty() && (sent >= 0 || errno == EINTR)) {
    sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
  }
  return bytes.empty();
}

}  // namespace tests
