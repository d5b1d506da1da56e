// The checks, each with the message of its refusal.

#include "script/json_reader.h"

#include <algorithm>

#include "core/text.h"

namespace standin {

void JsonReader::OnlyMembers(std::initializer_list<std::string_view> allowed) const {
  ForEachMember([&](const std::string& name, const JsonReader& /*member*/) {
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      Refuse("unknown member \"" + name + "\", known are: " + Join(allowed, ", "));
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

std::string JsonReader::NameIn(std::string_view member) const {
  std::string name = Has(member) ? Member(member).Text() : "";
  if (Has(member) && name.empty()) {
    Member(member).Refuse("must be a name");
  }
  return name;
}

std::optional<std::uint64_t> JsonReader::NaturalIn(std::string_view member, std::uint64_t least,
                                                   std::uint64_t most) const {
  return Has(member) ? std::optional(Member(member).Natural(least, most)) : std::nullopt;
}

bool JsonReader::TruthIn(std::string_view member) const {
  if (!Has(member)) {
    return false;
  }
  const JsonReader truth = Member(member);
  if (truth.value_.As<bool>() == nullptr) {
    truth.Refuse("must be true or false");
  }
  return *truth.value_.As<bool>();
}

bool JsonReader::IsSet(std::string_view member) const {
  if (Has(member) && !TruthIn(member)) {
    Member(member).Refuse("must be true");
  }
  return Has(member);
}

}  // namespace standin
