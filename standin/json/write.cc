// The writing half of json.h, and comparing.

#include <array>
#include <charconv>
#include <cmath>

#include "json/json.h"

namespace standin {
namespace {

constexpr char32_t REPLACEMENT = 0xfffd;

template <typename... Types>
struct Overloaded : Types... {
  using Types::operator()...;
};
template <typename... Types>
Overloaded(Types...) -> Overloaded<Types...>;

/// Takes the next character off `text`; the replacement for a byte that is no UTF-8.
char32_t TakeCharacter(std::string_view& text) {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const auto first = byte(0);
  const std::size_t size = first < 0x80   ? 1
                           : first < 0xc2 ? 0
                           : first < 0xe0 ? 2
                           : first < 0xf0 ? 3
                                          : 4;
  const char32_t least = size == 3 ? 0x800 : size == 4 ? 0x10000 : 0;
  char32_t character = first & (0xffU >> size);
  bool valid = size != 0 && size <= text.size();
  for (std::size_t index = 1; valid && index < size; ++index) {
    valid = (byte(index) & 0xc0U) == 0x80;
    character = character << 6 | (byte(index) & 0x3fU);
  }
  valid = valid && character >= least && character <= 0x10ffff && character >> 11 != 0x1b;
  text.remove_prefix(valid ? size : 1);
  return valid ? character : REPLACEMENT;
}

void AppendEscape(std::string& line, unsigned unit) {
  constexpr std::string_view digits = "0123456789abcdef";
  line += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    line.push_back(digits[unit >> shift & 0xf]);
  }
}

void AppendCharacter(std::string& line, char32_t character) {
  if (character == '\n') {
    line += "\\n";
  } else if (character == '\t') {
    line += "\\t";
  } else if (character >= 0x20 && character < 0x7f) {
    line += character == '"' || character == '\\' ? "\\" : "";
    line.push_back(static_cast<char>(character));
  } else if (character < 0x10000) {
    AppendEscape(line, character);
  } else {
    AppendEscape(line, 0xd800 + ((character - 0x10000) >> 10));
    AppendEscape(line, 0xdc00 + (character & 0x3ff));
  }
}

void AppendText(std::string& line, std::string_view text) {
  line.push_back('"');
  while (!text.empty()) {
    AppendCharacter(line, TakeCharacter(text));
  }
  line.push_back('"');
}

template <typename Number>
void AppendNumber(std::string& line, Number number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  line += text;
  if constexpr (std::is_same_v<Number, double>) {
    line += text.find_first_of(".e") == std::string_view::npos ? ".0" : "";
  }
}

void Append(std::string& line, const Value& value);

void AppendAll(std::string& line, const List& list) {
  line.push_back('[');
  for (const Value& item : list) {
    line += &item != list.data() ? "," : "";
    Append(line, item);
  }
  line.push_back(']');
}

void AppendAll(std::string& line, const Object& object) {
  line.push_back('{');
  for (const Member& member : object) {
    line += &member != object.data() ? "," : "";
    AppendText(line, member.name);
    line.push_back(':');
    Append(line, member.value);
  }
  line.push_back('}');
}

void Append(std::string& line, const Value& value) {
  std::visit(Overloaded{
                 [&](std::nullptr_t) { line += "null"; },
                 [&](bool truth) { line += truth ? "true" : "false"; },
                 [&](std::uint64_t number) { AppendNumber(line, number); },
                 [&](double number) { AppendNumber(line, number); },
                 [&](const std::string& text) { AppendText(line, text); },
                 [&](const List& list) { AppendAll(line, list); },
                 [&](const Object& object) { AppendAll(line, object); },
             },
             value.is);
}

}  // namespace

std::string ToJson(const Value& value) {
  std::string line;
  Append(line, value);
  return line;
}

bool operator==(const Value& one, const Value& other) {
  const auto* const natural = one.As<std::uint64_t>();
  const auto* const number = other.As<double>();
  if (one.As<double>() != nullptr && number == nullptr) {
    return other == one;
  }
  return natural != nullptr && number != nullptr ? static_cast<double>(*natural) == *number
                                                 : one.is == other.is;
}

}  // namespace standin
