// The payload bytes that the model expects: each field of the contract's layout gets
// the value of the option of its name (uuidList: --uuid-list) or of its words.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "tests/fake/require.h"
#include "tests/fuzz/command_line_model.h"

namespace fuzz {
namespace {

using contract::Field;
using contract::FieldType;

std::string UuidText(const ParsedLine& line) {
  std::string text;
  for (const unsigned char byte : line.uuid) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  for (const std::size_t index : {8U, 13U, 18U, 23U}) {
    text.insert(index, 1, '-');
  }
  return text;
}

/// `destination-list` of `destinationList`.
std::string OptionOf(const Field& field) {
  std::string name;
  for (const char letter : field.name) {
    if (std::isupper(letter) != 0) {
      name += '-';
    }
    name += static_cast<char>(std::tolower(letter));
  }
  return name;
}

/// The names that words give to the numbers of a field, or null.
const contract::Names* NamesOf(const contract::Payload& payload, const Field& field) {
  for (const Field& other : payload.fields) {
    if (other.of == field.name) {
      return other.names;
    }
  }
  return nullptr;
}

class Builder {
 public:
  explicit Builder(const ParsedLine& line) : line_(line), command_(*line.command) {}

  std::string Build() {
    std::string parts;
    for (const Field& field : command_.payload->fields) {
      if (field.part) {
        parts += (parts.empty() ? "" : ":") + Text(field);
        Place(field.offset, field.width, parts);
      } else {
        Place(field.offset, field.width, Bytes(field));
      }
    }
    return std::move(bytes_);
  }

 private:
  /// Puts a field of `width` bytes, or of as many as it has if that is 0.
  void Place(std::size_t offset, std::size_t width, std::string_view value) {
    bytes_.resize(std::max(bytes_.size(), offset + std::max(width, value.size())), '\0');
    bytes_.replace(offset, value.size(), value);
  }

  template <typename Number>
  static std::string Raw(Number number) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
  }

  [[nodiscard]] std::string Bytes(const Field& field) const {
    switch (field.type) {
      case FieldType::UUID_BYTES:
        return {line_.uuid.begin(), line_.uuid.end()};
      case FieldType::U8:
        return Raw(static_cast<std::uint8_t>(Natural(field)));
      case FieldType::U32:
        return Raw(static_cast<std::uint32_t>(Natural(field)));
      case FieldType::U64:
        return Raw(static_cast<std::uint64_t>(Natural(field)));
      case FieldType::F64:
        return Raw(Scanned<double>(field));
      case FieldType::NAME:
      case FieldType::RESERVED:
        return "";
      case FieldType::TEXT:
      case FieldType::JSON:
      case FieldType::LIST:
        return Text(field) + '\0';
      case FieldType::UUID_TEXT:
      case FieldType::CHARS:
      case FieldType::LIST_AREA:
      case FieldType::DIGITS:
        return Text(field);
    }
    fake::Fail("a type of field that the model does not know");
  }

  [[nodiscard]] std::string Text(const Field& field) const {
    if (field.type == FieldType::UUID_TEXT) {
      return UuidText(line_);
    }
    if (field.type == FieldType::DIGITS) {
      return std::to_string(Natural(field));
    }
    if (WordOf(field) != nullptr) {
      return line_.words[line_.argumentIndex];
    }
    const std::string option = OptionOf(field);
    return option == "file-path" ? line_.filePath : std::string(line_.Of(option).text);
  }

  [[nodiscard]] unsigned long Natural(const Field& field) const {
    if (!field.counts.empty()) {
      const Field& list = *command_.payload->FieldNamed(field.counts);
      return (line_.Of(OptionOf(list)).text.size() + 1) / 37;
    }
    const contract::Word* word = WordOf(field);
    if (word == nullptr) {
      return line_.Of(OptionOf(field)).number;
    }
    const contract::Names* names = NamesOf(*command_.payload, field);
    return names != nullptr ? NamedAnywhere(*names) : Scanned<unsigned long>(field);
  }

  /// The last number that a word names.
  [[nodiscard]] unsigned long NamedAnywhere(const contract::Names& names) const {
    unsigned long number = 0;
    for (std::size_t index = line_.argumentIndex; index + 1 < line_.words.size(); ++index) {
      for (const contract::NamedNumber& row : names.numbers) {
        number = row.name == line_.words[index] ? row.number : number;
      }
    }
    return number;
  }

  // A word that is no number changes nothing: NOLINTBEGIN(cert-err34-c)
  static void Scan(const char* word, unsigned long* number) {
    (void)std::sscanf(word, "%lu", number);
  }
  static void Scan(const char* word, double* number) { (void)std::sscanf(word, "%lf", number); }
  // NOLINTEND(cert-err34-c)

  /// The number in the field's positional word.
  template <typename Number>
  [[nodiscard]] Number Scanned(const Field& field) const {
    const contract::Word* word = WordOf(field);
    Number number{};
    Scan(word->standard.c_str(), &number);
    const std::size_t index =
        line_.argumentIndex + static_cast<std::size_t>(word - command_.words.data());
    if (line_.argumentIndex != 0 && index + 1 < line_.words.size()) {
      Scan(line_.words[index], &number);
    }
    return number;
  }

  /// The positional word that sets `field`, or null.
  [[nodiscard]] const contract::Word* WordOf(const Field& field) const {
    for (const contract::Word& word : command_.words) {
      if (word.field == field.name) {
        return &word;
      }
    }
    return nullptr;
  }

  const ParsedLine& line_;
  const contract::Command& command_;
  std::string bytes_;
};

}  // namespace

std::string ExpectPayload(const ParsedLine& line) { return Builder(line).Build(); }

}  // namespace fuzz
