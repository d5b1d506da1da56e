// The linker hands the client's calls to __wrap_<name> here. While nothing is
// contained those of write(2) and fopen(3) go straight on to the library: libFuzzer
// makes such calls, too.

#include "fuzz/fake_system.h"

#include <stdio_ext.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "fuzz/containment.h"
#include "fuzz/poison.h"

namespace {

fuzz::FakeSystem fake;

/// A stream that prints into `text` and can be used again and again.
std::FILE* StreamInto(std::string& text) {
  cookie_io_functions_t functions{};
  functions.write = [](void* cookie, const char* bytes, std::size_t count) -> ssize_t {
    auto* target = static_cast<std::string*>(cookie);
    if (target == &fake.out && fake.outputRefused) {
      errno = EBADF;
      return 0;
    }
    // The library has written them, unseen by MemorySanitizer.
    fuzz::Unpoison(const_cast<char*>(bytes), count);
    target->append(bytes, count);
    return static_cast<ssize_t>(count);
  };
  std::FILE* stream = fopencookie(&text, "w", functions);
  fuzz::Require(stream != nullptr, "fopencookie");
  return stream;
}

void Empty(std::FILE* stream) {
  (void)std::fflush(stream);
  __fpurge(stream);
  std::clearerr(stream);
}

std::FILE* OutStream() {
  static std::FILE* stream = StreamInto(fake.out);
  return stream;
}
std::FILE* ErrStream() {
  static std::FILE* stream = StreamInto(fake.err);
  return stream;
}
std::FILE* FileStream() {
  static std::FILE* stream = StreamInto(fake.file);
  return stream;
}

std::FILE* realOut;
std::FILE* realErr;

ssize_t Receive(void* buffer, std::size_t count, bool all) {
  ++fake.receives;
  fuzz::Require(fuzz::IsWritable(buffer, count), "room for what is asked for");
  const fuzz::DaemonBytes::Received received = fake.daemon.Take(count, all);
  if (received.error != 0) {
    errno = received.error;
    return -1;
  }
  std::memcpy(buffer, received.bytes.data(), received.bytes.size());
  return static_cast<ssize_t>(received.bytes.size());
}

}  // namespace

// The names are the linker's: NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

ssize_t __real_write(int fd, const void* bytes, std::size_t count);
std::FILE* __real_fopen(const char* path, const char* mode);

int __wrap_socket(int domain, int type, int protocol) {
  fuzz::Require(domain == AF_UNIX && type == SOCK_STREAM && protocol == 0, "type of socket");
  ++fake.sockets;
  return fuzz::DAEMON_SOCKET;
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  fuzz::Require(fd == fuzz::DAEMON_SOCKET && level == SOL_SOCKET && name == SO_RCVTIMEO,
                "socket option");
  fuzz::Require(fake.connects == 0, "the time-out comes before the connection");
  timeval timeout{};
  fuzz::Require(size == sizeof timeout, "size of the time-out");
  std::memcpy(&timeout, value, sizeof timeout);
  fuzz::Require(timeout.tv_usec == 0, "microseconds of the time-out");
  fake.timeoutSeconds = timeout.tv_sec;
  return 0;
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  fuzz::Require(fd == fuzz::DAEMON_SOCKET, "socket of connect");
  ++fake.connects;
  fake.address.assign(reinterpret_cast<const char*>(address), size);
  return 0;
}

ssize_t __wrap_send(int fd, const void* bytes, std::size_t count, int flags) {
  fuzz::Require(fd == fuzz::DAEMON_SOCKET && flags == 0, "socket and flags of send");
  fake.sent.append(static_cast<const char*>(bytes), count);
  fake.sendSizes.push_back(count);
  return static_cast<ssize_t>(count);
}

ssize_t __wrap_recv(int fd, void* bytes, std::size_t count, int flags) {
  fuzz::Require(fd == fuzz::DAEMON_SOCKET && flags == MSG_WAITALL, "socket and flags of recv");
  return Receive(bytes, count, true);
}

ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
  fuzz::Require(fd == fuzz::DAEMON_SOCKET, "descriptor of read");
  return Receive(bytes, count, false);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
  if (!fuzz::IsContained()) {
    return __real_write(fd, bytes, count);
  }
  fuzz::Require(fd == STDOUT_FILENO, "descriptor of write");
  if (fake.outputRefused) {
    errno = EBADF;
    return -1;
  }
  fake.out.append(static_cast<const char*>(bytes), count);
  return static_cast<ssize_t>(count);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (!fuzz::IsContained()) {
    return __real_fopen(path, mode);
  }
  fuzz::Require(std::strcmp(mode, "w") == 0, "mode of fopen");
  fuzz::Require(fake.receives == 0, "the file is opened before the first receive");
  fake.filePath = path;
  if (fake.fileError != 0) {
    errno = fake.fileError;
    return nullptr;
  }
  return FileStream();
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fuzz {

DaemonBytes::Received DaemonBytes::Take(std::size_t count, bool all) {
  const auto takeError = [this] {
    switch (ending) {
      case HangUp::PLAIN:
        break;
      case HangUp::SILENCE:
        return EAGAIN;
      case HangUp::RESET:
        ending = HangUp::PLAIN;
        return ECONNRESET;
    }
    return 0;
  };
  if (rest.empty()) {
    return {"", takeError()};
  }
  const std::size_t whole = packetSize != 0 ? std::min(packetSize, rest.size()) : rest.size();
  const std::string_view bytes = rest.substr(0, std::min(whole, count));
  // What a packet holds beyond `count` is lost.
  rest.remove_prefix(packetSize != 0 ? whole : bytes.size());
  if (all && packetSize == 0 && bytes.size() < count) {
    // The kernel forgets a reset that ends a receive which has bytes to show.
    (void)takeError();
  }
  return {bytes, 0};
}

FakeSystem& System() { return fake; }

void ResetSystem() {
  FakeSystem fresh;
  const auto keepMemory = [](auto& now, auto& next) {
    now.clear();
    next.swap(now);
  };
  keepMemory(fake.address, fresh.address);
  keepMemory(fake.sent, fresh.sent);
  keepMemory(fake.sendSizes, fresh.sendSizes);
  keepMemory(fake.out, fresh.out);
  keepMemory(fake.err, fresh.err);
  keepMemory(fake.filePath, fresh.filePath);
  keepMemory(fake.file, fresh.file);
  fake = std::move(fresh);
}

PrintingIntoSystem::PrintingIntoSystem() {
  realOut = std::exchange(stdout, OutStream());
  realErr = std::exchange(stderr, ErrStream());
}

PrintingIntoSystem::~PrintingIntoSystem() {
  Empty(stdout);
  Empty(stderr);
  Empty(FileStream());
  stdout = realOut;
  stderr = realErr;
}

}  // namespace fuzz
