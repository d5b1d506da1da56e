// A JSON value as a plain record: what scripts hold, requests are decoded to and log lines are
// made of. Reading and writing its text: the one place that knows a JSON library.

#ifndef STANDIN_JSON_JSON_H
#define STANDIN_JSON_JSON_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace standin {

/// A template, so that it may stand in the Value that it holds.
template <typename Value>
struct MemberOf {
  std::string name;
  Value value;
};

struct Value;
using Member = MemberOf<Value>;
using List = std::vector<Value>;
/// Members in their order; a name stands once.
using Object = std::vector<Member>;

struct Value {
  Value() = default;  ///< null
  Value(std::nullptr_t /*null*/) {}
  Value(std::same_as<bool> auto truth) : is(truth) {}
  Value(std::unsigned_integral auto number) requires(!std::same_as<decltype(number), bool>)
      : is(std::uint64_t{number}) {}
  Value(double number) : is(number) {}
  Value(const char* text) : is(std::string(text)) {}
  Value(std::string_view text) : is(std::string(text)) {}
  Value(std::string text) : is(std::move(text)) {}
  Value(List list) : is(std::move(list)) {}
  Value(Object object) : is(std::move(object)) {}

  template <typename Type>
  [[nodiscard]] const Type* As() const {
    return std::get_if<Type>(&is);
  }
  /// The text; empty for all other values.
  [[nodiscard]] std::string_view Text() const {
    const auto* const text = As<std::string>();
    return text != nullptr ? std::string_view(*text) : std::string_view();
  }

  /// A negative number is a double.
  std::variant<std::nullptr_t, bool, std::uint64_t, double, std::string, List, Object> is;
};

/// Null if `object` has no such member.
[[nodiscard]] inline const Value* Find(const Object& object, std::string_view name) {
  for (const Member& member : object) {
    if (member.name == name) {
      return &member.value;
    }
  }
  return nullptr;
}

/// Numbers are equal by value, whatever their types; objects by their members in order.
[[nodiscard]] bool operator==(const Value& one, const Value& other);
[[nodiscard]] inline bool operator==(const Member& one, const Member& other) {
  return one.name == other.name && one.value == other.value;
}

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
