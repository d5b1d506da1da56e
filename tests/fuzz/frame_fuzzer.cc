// Bytes of a client through the stand-in daemon's framing: no byte is lost, none
// is made up, and a frame ends where its header says.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "support/containment.h"

namespace fuzz {
namespace {

std::uint64_t AnnouncedSize(std::string_view bytes) {
  std::uint64_t length = 0;
  for (const char byte : bytes.substr(4, 4)) {
    length = length * 256 + static_cast<unsigned char>(byte);
  }
  return length + standin::HEADER_SIZE;
}

void CheckReading(std::string_view bytes) {
  std::array<int, 2> ends{};
  Require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0, "socketpair");
  Require(standin::WriteAll(ends[0], bytes), "all bytes are written");
  close(ends[0]);
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const std::uint64_t size =
        rest.size() < standin::HEADER_SIZE ? rest.size() : AnnouncedSize(rest);
    const std::string frame = standin::ReadFrame(ends[1]);
    Require(frame == rest.substr(0, size), "a frame is what its header announces");
    rest.remove_prefix(frame.size());
  }
  Require(standin::ReadFrame(ends[1]).empty(), "nothing behind the last byte");
  close(ends[1]);
}

void CheckEncoding(std::string_view bytes) {
  const standin::Header header = standin::DecodeHeader(bytes);
  Require(standin::EncodeHeader(header) == bytes.substr(0, standin::HEADER_SIZE),
          "a header survives decoding and encoding");
  const std::string_view payload = bytes.substr(standin::HEADER_SIZE);
  const std::string frame = standin::EncodeFrame(header.word, payload);
  Require(standin::DecodeHeader(frame).word == header.word, "first word of a frame");
  Require(standin::DecodeHeader(frame).length == payload.size(), "length word of a frame");
  Require(std::string_view(frame).substr(standin::HEADER_SIZE) == payload, "payload of a frame");
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  fuzz::CheckReading(bytes.substr(0, 65536));
  if (bytes.size() >= standin::HEADER_SIZE) {
    fuzz::CheckEncoding(bytes);
  }
  return 0;
}
