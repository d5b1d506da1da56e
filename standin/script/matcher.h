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

#include "contract/contract.h"
#include "script/json_reader.h"

namespace standin {

/// Captured values by the names that the script gives them.
using Captures = std::map<std::string, Value, std::less<>>;

/// All that is set has to hold; a matcher with nothing set takes any value. Numbers are the
/// same by value, UUIDs whatever the case of their letters.
struct Matcher {
  std::vector<Value> oneOf = {};                        ///< empty: any
  std::shared_ptr<const regex_t> expression = nullptr;  ///< found in the text; null: any
  std::string expressionText = {};
  std::optional<Value> min = {};
  std::optional<Value> max = {};
  std::string captured = {};  ///< equals the value of this name
  std::string capture = {};   ///< gives the value this name
};

/// `json`: a plain value, or an object of conditions. Throws ScriptError, also for what no
/// request can have.
[[nodiscard]] Matcher ReadMatcher(const JsonReader& json, const contract::Field& field);

[[nodiscard]] bool Matches(const Matcher& matcher, const Value& value, const Captures& captures);

/// Whether both want the same, whatever they capture.
[[nodiscard]] bool WantSame(const Matcher& one, const Matcher& other);

/// What is expected, for a person.
[[nodiscard]] std::string Describe(const Matcher& matcher, const Captures& captures);

/// A value for a person: as JSON, and a text as hexadecimal digits too.
[[nodiscard]] std::string Shown(const Value& value);

}  // namespace standin

#endif  // STANDIN_SCRIPT_MATCHER_H
