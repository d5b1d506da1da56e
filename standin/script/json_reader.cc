// The checks, each with the message of its refusal.

#include "script/json_reader.h"

#include <algorithm>
#include <utility>

#include "script/script_reader.h"

namespace standin {

JsonReader::JsonReader(const Json& value, std::string place, std::filesystem::path folder)
    : value_(value), place_(std::move(place)), folder_(std::move(folder)) {}

void JsonReader::Refuse(const std::string& why) const { throw ScriptError(place_ + ": " + why); }

void JsonReader::OnlyMembers(std::initializer_list<std::string_view> allowed) const {
  ForEachMember([&](const std::string& name, const JsonReader& /*member*/) {
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      std::string known;
      for (const std::string_view word : allowed) {
        known += (known.empty() ? "" : ", ") + std::string(word);
      }
      Refuse("unknown member \"" + name + "\", known are: " + known);
    }
  });
}

bool JsonReader::Has(std::string_view name) const {
  return value_.is_object() && value_.contains(name);
}

JsonReader JsonReader::Member(std::string_view name) const {
  return {value_.at(std::string(name)), place_ + "/" + std::string(name), folder_};
}

void JsonReader::ForEachMember(
    const std::function<void(const std::string& name, const JsonReader&)>& visit) const {
  if (!value_.is_object()) {
    Refuse("must be an object");
  }
  for (const auto& [name, member] : value_.items()) {
    visit(name, {member, place_ + "/" + name, folder_});
  }
}

void JsonReader::ForEachItem(const std::function<void(const JsonReader&)>& visit) const {
  if (!value_.is_array()) {
    Refuse("must be an array");
  }
  for (std::size_t index = 0; index < value_.size(); ++index) {
    visit({value_[index], place_ + "/" + std::to_string(index), folder_});
  }
}

const std::string& JsonReader::Text() const {
  if (!value_.is_string()) {
    Refuse("must be a text");
  }
  return value_.get_ref<const std::string&>();
}

std::uint64_t JsonReader::Natural(std::uint64_t least, std::uint64_t most) const {
  if (!value_.is_number_unsigned() || value_.get<std::uint64_t>() < least ||
      value_.get<std::uint64_t>() > most) {
    Refuse("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return value_.get<std::uint64_t>();
}

}  // namespace standin
