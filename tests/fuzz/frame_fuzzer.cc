// Bytes of a client through the stand-in daemon's framing: no byte is lost, none
// is made up, and a frame ends where its header says. The first byte of an input is
// the number of bytes that the system moves at a time, the rest is the stream.

#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "fuzz/containment.h"

namespace {

/// A connection in memory: what is sent to it is received from it.
struct Connection {
  std::string held;
  std::size_t received = 0;
  std::size_t most = 0;  ///< bytes that one call moves
  bool interrupts = false;

  /// Bytes that the next call moves, or -1 with errno EINTR every other time.
  ssize_t Next(std::size_t count) {
    interrupts = !interrupts;
    if (interrupts) {
      errno = EINTR;
      return -1;
    }
    return static_cast<ssize_t>(std::min(count, most));
  }
};

constexpr int SOCKET = 1000000;  // no open file has this number
Connection connection;

}  // namespace

// The linker hands the framing's calls to these.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

ssize_t __wrap_send(int fd, const void* bytes, std::size_t count, int /*flags*/) {
  fuzz::Require(fd == SOCKET, "socket of send");
  const ssize_t sent = connection.Next(count);
  if (sent > 0) {
    connection.held.append(static_cast<const char*>(bytes), static_cast<std::size_t>(sent));
  }
  return sent;
}

ssize_t __wrap_recv(int fd, void* bytes, std::size_t count, int /*flags*/) {
  fuzz::Require(fd == SOCKET, "socket of recv");
  const ssize_t received =
      connection.Next(std::min(count, connection.held.size() - connection.received));
  if (received > 0) {
    std::memcpy(bytes, &connection.held[connection.received], static_cast<std::size_t>(received));
    connection.received += static_cast<std::size_t>(received);
  }
  return received;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fuzz {
namespace {

std::uint64_t AnnouncedSize(std::string_view bytes) {
  std::uint64_t length = 0;
  for (const char byte : bytes.substr(4, 4)) {
    length = length * 256 + static_cast<unsigned char>(byte);
  }
  return length + standin::HEADER_SIZE;
}

void CheckReading(std::size_t most, std::string_view bytes) {
  connection.held.clear();
  connection.received = 0;
  // No more than 32 pieces: the reader makes room for 64 KiB before each.
  connection.most = std::max({most, bytes.size() / 32, std::size_t{1}});
  Require(standin::WriteAll(SOCKET, bytes), "all bytes are written");
  Require(connection.held == bytes, "the bytes arrive as they are");
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const std::uint64_t size =
        rest.size() < standin::HEADER_SIZE ? rest.size() : AnnouncedSize(rest);
    const std::string frame = standin::ReadFrame(SOCKET);
    Require(frame == rest.substr(0, size), "a frame is what its header announces");
    rest.remove_prefix(frame.size());
  }
  Require(standin::ReadFrame(SOCKET).empty(), "nothing after the last byte");
}

void CheckEncoding(std::string_view bytes) {
  const standin::Header header = standin::DecodeHeader(bytes);
  Require(standin::EncodeHeader(header) == bytes.substr(0, standin::HEADER_SIZE),
          "a header survives decoding and encoding");
  const std::string_view payload = bytes.substr(standin::HEADER_SIZE);
  const std::string frame = standin::EncodeFrame(header.word, payload);
  Require(standin::DecodeHeader(frame).word == header.word, "first field of a frame");
  Require(standin::DecodeHeader(frame).length == payload.size(), "length field of a frame");
  Require(std::string_view(frame).substr(standin::HEADER_SIZE) == payload, "payload of a frame");
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return -1;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  fuzz::CheckReading(data[0], bytes);
  if (bytes.size() >= standin::HEADER_SIZE) {
    fuzz::CheckEncoding(bytes);
  }
  return 0;
}
