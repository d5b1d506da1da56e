// A JSON value and its place in the script, with the checks that its readers need.

#ifndef STANDIN_SCRIPT_JSON_READER_H
#define STANDIN_SCRIPT_JSON_READER_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "json/json.h"

namespace standin {

/// The text says what is wrong with the script, file and place first.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// All functions throw ScriptError, which names the place, if the value is not of
/// the wanted type.
class JsonReader {
 public:
  JsonReader(const Value& value, std::string place, std::filesystem::path folder)
      : value_(value), place_(std::move(place)), folder_(std::move(folder)) {}

  [[noreturn]] void Refuse(const std::string& why) const { throw ScriptError(place_ + ": " + why); }

  /// Refuses all but an object with no other members than these.
  void OnlyMembers(std::initializer_list<std::string_view> allowed) const;
  [[nodiscard]] bool Has(std::string_view name) const;
  /// Requires: Has(name).
  [[nodiscard]] JsonReader Member(std::string_view name) const;
  void ForEachMember(
      const std::function<void(const std::string& name, const JsonReader&)>& visit) const;
  void ForEachItem(const std::function<void(const JsonReader&)>& visit) const;

  [[nodiscard]] const std::string& Text() const;
  [[nodiscard]] std::uint64_t Natural(std::uint64_t least, std::uint64_t most) const;
  [[nodiscard]] const Value& Get() const { return value_; }
  /// The folder of the script, where the paths in it begin.
  [[nodiscard]] const std::filesystem::path& Folder() const { return folder_; }

  // Of a member that may be missing:

  /// A text that is not empty; empty if it is missing.
  [[nodiscard]] std::string NameIn(std::string_view member) const;
  [[nodiscard]] std::optional<std::uint64_t> NaturalIn(std::string_view member, std::uint64_t least,
                                                       std::uint64_t most) const;
  /// False if it is missing.
  [[nodiscard]] bool TruthIn(std::string_view member) const;
  /// Whether it is there; refuses all but true.
  [[nodiscard]] bool IsSet(std::string_view member) const;

 private:
  const Value& value_;
  std::string place_;
  std::filesystem::path folder_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_JSON_READER_H
