// Socket, receive time-out, connect: three calls, each made once.

#include "transport/connection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace trel {
namespace {

static_assert(sizeof(sockaddr_un) == 110, "the whole address goes to connect");
static_assert(sizeof(sockaddr_un::sun_path) == 108, "107 bytes of path and a terminator");

ReturnStatus Fail(const char* step) {
  std::perror(step);
  return STATUS_FAILURE;
}

}  // namespace

ReturnStatus OpenDaemonConnection(const char* socketPath, std::uint32_t receiveTimeoutSeconds,
                                  int* socketOut) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  if (descriptor == -1) {
    return Fail("socket error");
  }

  timeval timeout{};
  timeout.tv_sec = receiveTimeoutSeconds;
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0) {
    return Fail("set timeout error");
  }

  // Kept on purpose: a longer path is cut to what leaves room for a terminator.
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::min(std::strlen(socketPath), sizeof address.sun_path - 1);
  std::memcpy(address.sun_path, socketPath, length);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1) {
    return Fail("connect error");
  }

  *socketOut = descriptor;
  return STATUS_OK;
}

}  // namespace trel
