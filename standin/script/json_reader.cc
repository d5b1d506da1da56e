// The checks, each with the message of its refusal.

#include "script/json_reader.h"

#include <algorithm>
#include <utility>

#include "script/script_reader.h"

namespace standin {

JsonReader::JsonReader(const Value& value, std::string place, std::filesystem::path folder)
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
  const auto* const object = value_.As<Object>();
  return object != nullptr && Find(*object, name) != nullptr;
}

JsonReader JsonReader::Member(std::string_view name) const {
  return {*Find(*value_.As<Object>(), name), place_ + "/" + std::string(name), folder_};
}

void JsonReader::ForEachMember(
    const std::function<void(const std::string& name, const JsonReader&)>& visit) const {
  const auto* const object = value_.As<Object>();
  if (object == nullptr) {
    Refuse("must be an object");
  }
  for (const auto& [name, member] : *object) {
    visit(name, {member, place_ + "/" + name, folder_});
  }
}

void JsonReader::ForEachItem(const std::function<void(const JsonReader&)>& visit) const {
  const auto* const list = value_.As<List>();
  if (list == nullptr) {
    Refuse("must be an array");
  }
  for (std::size_t index = 0; index < list->size(); ++index) {
    visit({(*list)[index], place_ + "/" + std::to_string(index), folder_});
  }
}

const std::string& JsonReader::Text() const {
  const auto* const text = value_.As<std::string>();
  if (text == nullptr) {
    Refuse("must be a text");
  }
  return *text;
}

std::uint64_t JsonReader::Natural(std::uint64_t least, std::uint64_t most) const {
  const auto* const number = value_.As<std::uint64_t>();
  if (number == nullptr || *number < least || *number > most) {
    Refuse("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return *number;
}

bool JsonReader::Truth() const {
  const bool* const truth = value_.As<bool>();
  if (truth == nullptr) {
    Refuse("must be true or false");
  }
  return *truth;
}

}  // namespace standin
