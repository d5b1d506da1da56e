// JSON text: reading and writing. The one place that knows a JSON library.

#ifndef STANDIN_JSON_JSON_H
#define STANDIN_JSON_JSON_H

#include <string>
#include <string_view>

#include "json/value.h"

namespace standin {

/// Reads a whole text. Throws std::runtime_error, whose text names line and column, if it
/// is no JSON, holds a zero byte, nests deeper than 100 levels, has more than 250000
/// values or 1000 members in an object, or two members of one name.
[[nodiscard]] Value ParseJson(std::string_view text);

/// Whether `text` is JSON, however deep and with whatever names.
[[nodiscard]] bool IsJson(std::string_view text);

/// One line of ASCII: all other characters are escaped. A byte that is no UTF-8 becomes
/// \ufffd.
[[nodiscard]] std::string ToJson(const Value& value);

}  // namespace standin

#endif  // STANDIN_JSON_JSON_H
