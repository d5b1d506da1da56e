// A JSON value and its place in the script, with the checks that its readers need.

#ifndef STANDIN_SCRIPT_JSON_READER_H
#define STANDIN_SCRIPT_JSON_READER_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "json/value.h"

namespace standin {

/// All functions throw ScriptError, which names the place, if the value is not of
/// the wanted type.
class JsonReader {
 public:
  JsonReader(const Value& value, std::string place, std::filesystem::path folder);

  [[noreturn]] void Refuse(const std::string& why) const;

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
  [[nodiscard]] bool Truth() const;
  [[nodiscard]] const Value& Get() const { return value_; }
  /// The folder of the script, where the paths in it begin.
  [[nodiscard]] const std::filesystem::path& Folder() const { return folder_; }

 private:
  const Value& value_;
  std::string place_;
  std::filesystem::path folder_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_JSON_READER_H
