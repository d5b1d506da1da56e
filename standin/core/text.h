// Bytes and lists as texts for people: hexadecimal digits, UUIDs, words with separators.

#ifndef STANDIN_CORE_TEXT_H
#define STANDIN_CORE_TEXT_H

#include <functional>
#include <iterator>
#include <string>
#include <string_view>

namespace standin {

/// The bytes of hexadecimal digits; blanks between them are skipped. Throws
/// std::invalid_argument for anything else.
[[nodiscard]] std::string FromHex(std::string_view digits);

/// Two lower-case digits for each byte, nothing between them.
[[nodiscard]] std::string ToHex(std::string_view bytes);

/// 16 bytes a line after their offset; repetitions of a line are folded to "*".
[[nodiscard]] std::string HexDump(std::string_view bytes);

/// Whether `text` has the form of a UUID, with letters of either case.
[[nodiscard]] bool IsUuid(std::string_view text);

/// The texts of all items with `separator` between them. `textOf`: a function or a member.
template <typename Items, typename TextOf = std::identity>
[[nodiscard]] std::string Join(const Items& items, std::string_view separator, TextOf textOf = {}) {
  std::string text;
  for (const auto& item : items) {
    text += &item != &*std::begin(items) ? separator : "";
    text += std::invoke(textOf, item);
  }
  return text;
}

}  // namespace standin

#endif  // STANDIN_CORE_TEXT_H
