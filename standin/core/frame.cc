// Words of 32 bits, their highest byte first.

#include "core/frame.h"

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

}  // namespace standin
