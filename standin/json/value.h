// A JSON value as a plain record: what scripts hold, requests are decoded to and log
// lines are made of.

#ifndef STANDIN_JSON_VALUE_H
#define STANDIN_JSON_VALUE_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace standin {

struct Member;
struct Value;
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
  Value(List list);
  Value(Object object);

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

struct Member {
  std::string name;
  Value value;
};

inline Value::Value(List list) : is(std::move(list)) {}
inline Value::Value(Object object) : is(std::move(object)) {}

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

}  // namespace standin

#endif  // STANDIN_JSON_VALUE_H
