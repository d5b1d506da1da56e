// Bytes as hexadecimal digits, for people: in and out.

#ifndef STANDIN_CORE_HEX_H
#define STANDIN_CORE_HEX_H

#include <string>
#include <string_view>

namespace standin {

/// The bytes of hexadecimal digits; blanks between them are skipped. Throws
/// std::invalid_argument for anything else.
[[nodiscard]] std::string FromHex(std::string_view digits);

/// Two lower-case digits for each byte, nothing between them.
[[nodiscard]] std::string ToHex(std::string_view bytes);

/// Whether `text` has the form of a UUID, with letters of either case.
[[nodiscard]] bool IsUuid(std::string_view text);

/// 16 bytes a line after their offset; repetitions of a line are folded to "*".
[[nodiscard]] std::string HexDump(std::string_view bytes);

}  // namespace standin

#endif  // STANDIN_CORE_HEX_H
