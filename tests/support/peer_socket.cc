// pidfd_getfd(2) borrows the peer's socket: the one it has, as it has just connected.

#include "support/peer_socket.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "core/descriptor.h"

namespace tests {
namespace {

long Checked(long result, const char* call) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
  return result;
}

pid_t PeerOf(int connection) {
  ucred peer{};
  socklen_t size = sizeof peer;
  Checked(getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size), "SO_PEERCRED");
  return peer.pid;
}

using NameCall = int(int, sockaddr*, socklen_t*);

/// The path that a socket is bound or connected to, empty if there is none.
std::string PathOf(int socket, NameCall* call) {
  sockaddr_un address{};
  socklen_t size = sizeof address;
  const int result = call(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return result == 0 && address.sun_family == AF_UNIX ? std::string(address.sun_path) : "";
}

/// Borrows the peer's end of `connection`. It may have inherited other sockets.
standin::Descriptor BorrowSocket(pid_t peer, int connection) {
  const standin::Descriptor process(
      static_cast<int>(Checked(syscall(SYS_pidfd_open, peer, 0), "pidfd_open")));
  const std::string path = PathOf(connection, getsockname);
  const std::string folder = "/proc/" + std::to_string(peer) + "/fd";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (std::filesystem::read_symlink(entry).string().starts_with("socket:")) {
      const int number = std::stoi(entry.path().filename());
      standin::Descriptor socket(static_cast<int>(
          Checked(syscall(SYS_pidfd_getfd, process.Get(), number, 0), "pidfd_getfd")));
      if (PathOf(socket.Get(), getpeername) == path) {
        return socket;
      }
    }
  }
  throw std::system_error(ENOTSOCK, std::generic_category(), folder);
}

}  // namespace

timeval ReceiveTimeoutOfPeer(int connection) {
  const standin::Descriptor socket = BorrowSocket(PeerOf(connection), connection);
  timeval timeout{};
  socklen_t size = sizeof timeout;
  Checked(getsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), "SO_RCVTIMEO");
  return timeout;
}

long PeakMemoryOfPeerKib(int connection) {
  std::ifstream status("/proc/" + std::to_string(PeerOf(connection)) + "/status");
  const std::string label = "VmHWM:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(label)) {
      return std::stol(line.substr(label.size()));
    }
  }
  throw std::system_error(ESRCH, std::generic_category(), label);
}

}  // namespace tests
