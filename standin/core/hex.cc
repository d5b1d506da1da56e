// Hexadecimal digits by hand: streams would be slow for the long records.

#include "core/hex.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace standin {
namespace {

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  const int lower = std::tolower(static_cast<unsigned char>(digit));
  if (lower >= 'a' && lower <= 'f') {
    return lower - 'a' + 10;
  }
  throw std::invalid_argument(std::string("not a hexadecimal digit: ") + digit);
}

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
  for (std::size_t place = 0; place < kept.size(); place += 2) {
    bytes.push_back(static_cast<char>(DigitValue(kept[place]) << 4 | DigitValue(kept[place + 1])));
  }
  return bytes;
}

std::string ToHex(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    AppendDigits(text, byte);
  }
  return text;
}

bool IsUuid(std::string_view text) {
  if (text.size() != 36) {
    return false;
  }
  for (std::size_t index = 0; index < text.size(); ++index) {
    const bool hyphen = index == 8 || index == 13 || index == 18 || index == 23;
    const bool digit = std::isxdigit(static_cast<unsigned char>(text[index])) != 0;
    if (hyphen ? text[index] != '-' : !digit) {
      return false;
    }
  }
  return true;
}

std::string HexDump(std::string_view bytes) {
  constexpr std::size_t width = 16;
  std::string dump;
  std::string_view last;
  bool folded = false;
  for (std::size_t offset = 0; offset < bytes.size(); offset += width) {
    const std::string_view row = bytes.substr(offset, width);
    if (offset != 0 && row == last) {
      dump += folded ? "" : "*\n";
      folded = true;
      continue;
    }
    folded = false;
    last = row;
    std::ostringstream head;
    head << std::hex << std::setfill('0') << std::setw(6) << offset;
    dump += head.str();
    for (const char byte : row) {
      dump.push_back(' ');
      AppendDigits(dump, byte);
    }
    dump.push_back('\n');
  }
  return dump;
}

}  // namespace standin
