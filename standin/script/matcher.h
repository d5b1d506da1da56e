// What an entry wants of one field, and the values that entries have captured.

#ifndef STANDIN_SCRIPT_MATCHER_H
#define STANDIN_SCRIPT_MATCHER_H

#include <regex.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "json/value.h"

namespace standin {

/// Captured values by the names that the script gives them.
using Captures = std::map<std::string, Value, std::less<>>;

/// All that is set has to hold; a matcher with nothing set takes any value.
struct Matcher {
  std::vector<Value> oneOf = {};                        ///< empty: any
  std::shared_ptr<const regex_t> expression = nullptr;  ///< found in the text; null: any
  std::string expressionText = {};
  std::optional<Value> min = {};
  std::optional<Value> max = {};
  std::string captured = {};  ///< equals the value of this name
  std::string capture = {};   ///< gives the value this name
};

/// Numbers are the same by value, UUIDs whatever the case of their letters.
[[nodiscard]] bool AreSame(const Value& one, const Value& other);
[[nodiscard]] bool IsLess(const Value& one, const Value& other);

[[nodiscard]] bool Matches(const Matcher& matcher, const Value& value, const Captures& captures);

/// What is expected, for a person.
[[nodiscard]] std::string Describe(const Matcher& matcher, const Captures& captures);

/// A value for a person: as JSON, and a text as hexadecimal digits too.
[[nodiscard]] std::string Shown(const Value& value);

}  // namespace standin

#endif  // STANDIN_SCRIPT_MATCHER_H
