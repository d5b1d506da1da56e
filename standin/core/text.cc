// Hexadecimal digits by hand: streams would be slow for the long records.

#include "core/text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <stdexcept>

namespace standin {
namespace {

void AppendDigits(std::string& text, char byte) {
  static constexpr std::string_view DIGITS = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  text.push_back(DIGITS[value >> 4]);
  text.push_back(DIGITS[value & 0xf]);
}

}  // namespace

std::string FromHex(std::string_view digits) {
  std::string kept;
  std::copy_if(digits.begin(), digits.end(), std::back_inserter(kept),
               [](unsigned char digit) { return std::isspace(digit) == 0; });
  if (kept.size() % 2 != 0) {
    throw std::invalid_argument("an odd number of hexadecimal digits");
  }
  std::string bytes;
  for (const char* pair = kept.data(); pair != kept.data() + kept.size(); pair += 2) {
    unsigned char byte = 0;
    const char* const end = std::from_chars(pair, pair + 2, byte, 16).ptr;
    if (end != pair + 2) {
      throw std::invalid_argument(std::string("not a hexadecimal digit: ") + *end);
    }
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

std::string ToHex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    AppendDigits(text, byte);
  }
  return text;
}

std::string HexDump(std::string_view bytes) {
  constexpr std::size_t width = 16;
  std::string dump;
  std::string_view last;
  bool folded = false;
  for (std::size_t offset = 0; offset < bytes.size(); offset += width) {
    const std::string_view row = bytes.substr(offset, width);
    if (row == last) {
      dump += folded ? "" : "*\n";
      folded = true;
      continue;
    }
    folded = false;
    last = row;
    std::array<char, 24> head{};
    (void)std::snprintf(head.data(), head.size(), "%06zx", offset);
    dump += head.data();
    for (const char byte : row) {
      dump.push_back(' ');
      AppendDigits(dump, byte);
    }
    dump.push_back('\n');
  }
  return dump;
}

bool IsUuid(std::string_view text) {
  constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char byte, char wanted) {
    return wanted == '-' ? byte == '-' : std::isxdigit(static_cast<unsigned char>(byte)) != 0;
  });
}

}  // namespace standin
