// Encoding, decoding and moving of frames.

#include "core/frame.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace standin {
namespace {

void AppendWord(std::string& bytes, std::uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<char>(word >> shift & 0xff));
  }
}

std::uint32_t WordAt(std::string_view bytes, std::size_t offset) {
  std::uint32_t word = 0;
  for (const char byte : bytes.substr(offset, 4)) {
    word = word << 8 | static_cast<unsigned char>(byte);
  }
  return word;
}

}  // namespace

std::string EncodeHeader(const Header& header) {
  std::string bytes;
  AppendWord(bytes, header.word);
  AppendWord(bytes, header.length);
  return bytes;
}

Header DecodeHeader(std::string_view bytes) {
  return {.word = WordAt(bytes, 0), .length = WordAt(bytes, 4)};
}

std::string EncodeFrame(std::uint32_t word, std::string_view payload) {
  return EncodeHeader({.word = word, .length = static_cast<std::uint32_t>(payload.size())})
      .append(payload);
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
  std::string bytes = ReadExactly(fd, HEADER_SIZE);
  if (bytes.size() == HEADER_SIZE) {
    bytes += ReadExactly(fd, DecodeHeader(bytes).length);
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

}  // namespace standin
