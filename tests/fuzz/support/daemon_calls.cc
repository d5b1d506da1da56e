// The linker hands the client's calls to __wrap_<name> here.

#include "support/daemon_calls.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cstring>

#include "support/containment.h"

namespace {

// A number that no open file has.
constexpr int DAEMON_SOCKET = 1000000;

bool recording = false;
fuzz::DaemonCalls calls;

}  // namespace

// The names are the linker's: NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_setsockopt(int fd, int level, int name, const void* value, socklen_t size);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
ssize_t __real_send(int fd, const void* bytes, std::size_t count, int flags);
ssize_t __real_recv(int fd, void* bytes, std::size_t count, int flags);
ssize_t __real_read(int fd, void* bytes, std::size_t count);

int __wrap_socket(int domain, int type, int protocol) {
  if (!recording) {
    return __real_socket(domain, type, protocol);
  }
  fuzz::Require(domain == AF_UNIX && type == SOCK_STREAM && protocol == 0, "kind of socket");
  ++calls.sockets;
  return DAEMON_SOCKET;
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  if (!recording) {
    return __real_setsockopt(fd, level, name, value, size);
  }
  fuzz::Require(fd == DAEMON_SOCKET && level == SOL_SOCKET && name == SO_RCVTIMEO, "socket option");
  fuzz::Require(calls.connects == 0, "the time-out comes before the connection");
  timeval timeout{};
  fuzz::Require(size == sizeof timeout, "size of the time-out");
  std::memcpy(&timeout, value, sizeof timeout);
  fuzz::Require(timeout.tv_usec == 0, "microseconds of the time-out");
  calls.timeoutSeconds = timeout.tv_sec;
  return 0;
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  if (!recording) {
    return __real_connect(fd, address, size);
  }
  fuzz::Require(fd == DAEMON_SOCKET, "socket of connect");
  ++calls.connects;
  calls.address.assign(reinterpret_cast<const char*>(address), size);
  return 0;
}

ssize_t __wrap_send(int fd, const void* bytes, std::size_t count, int flags) {
  if (!recording) {
    return __real_send(fd, bytes, count, flags);
  }
  fuzz::Require(fd == DAEMON_SOCKET && flags == 0, "socket and flags of send");
  calls.sends.emplace_back(static_cast<const char*>(bytes), count);
  return static_cast<ssize_t>(count);
}

ssize_t __wrap_recv(int fd, void* bytes, std::size_t count, int flags) {
  if (!recording) {
    return __real_recv(fd, bytes, count, flags);
  }
  fuzz::Require(fd == DAEMON_SOCKET && flags == MSG_WAITALL, "socket and flags of recv");
  ++calls.receives;
  return 0;
}

ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
  if (!recording) {
    return __real_read(fd, bytes, count);
  }
  fuzz::Require(fd == DAEMON_SOCKET, "descriptor of read");
  ++calls.receives;
  return 0;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fuzz {

const DaemonCalls& RecordedCalls() { return calls; }

void StartRecording() {
  calls = {};
  recording = true;
}

void StopRecording() { recording = false; }

}  // namespace fuzz
