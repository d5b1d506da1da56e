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

// Its functions are defined once Member is complete.
struct Value {
  Value();  ///< null
  Value(std::nullptr_t null);
  Value(std::same_as<bool> auto truth);
  Value(std::unsigned_integral auto number) requires(!std::same_as<decltype(number), bool>);
  Value(double number);
  Value(const char* text);
  Value(std::string_view text);
  Value(std::string text);
  Value(List list);
  Value(Object object);
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  template <typename Type>
  [[nodiscard]] const Type* As() const {
    return std::get_if<Type>(&is);
  }
  /// The text; empty for all other values.
  [[nodiscard]] std::string_view Text() const;

  /// A negative number is a double.
  std::variant<std::nullptr_t, bool, std::uint64_t, double, std::string, List, Object> is;
};

struct Member {
  std::string name;
  Value value;
};

inline Value::Value() = default;
inline Value::Value(std::nullptr_t /*null*/) {}
inline Value::Value(std::same_as<bool> auto truth) : is(truth) {}
inline Value::Value(std::unsigned_integral auto number) requires(
    !std::same_as<decltype(number), bool>)
    : is(std::uint64_t{number}) {}
inline Value::Value(double number) : is(number) {}
inline Value::Value(const char* text) : is(std::string(text)) {}
inline Value::Value(std::string_view text) : is(std::string(text)) {}
inline Value::Value(std::string text) : is(std::move(text)) {}
inline Value::Value(List list) : is(std::move(list)) {}
inline Value::Value(Object object) : is(std::move(object)) {}
inline Value::Value(const Value& other) = default;
inline Value::Value(Value&& other) noexcept = default;
inline Value& Value::operator=(const Value& other) = default;
inline Value& Value::operator=(Value&& other) noexcept = default;
inline Value::~Value() = default;

inline std::string_view Value::Text() const {
  const auto* const text = As<std::string>();
  return text != nullptr ? std::string_view(*text) : std::string_view();
}

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
