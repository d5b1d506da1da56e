// Compares a request with an entry, field by field.

#include "script/entry.h"

#include <algorithm>

namespace standin {
namespace {

std::string CodeOf(const contract::Command& command) {
  return command.word + " (code " + std::to_string(command.code) + ")";
}

bool IsSameMatcher(const Matcher& one, const Matcher& other) {
  return one.expressionText == other.expressionText && one.min == other.min &&
         one.max == other.max && one.captured == other.captured &&
         std::equal(one.oneOf.begin(), one.oneOf.end(), other.oneOf.begin(), other.oneOf.end(),
                    AreSame);
}

}  // namespace

std::string CommandOf(const Request& request) {
  return request.command != nullptr
             ? CodeOf(*request.command)
             : "no command (code " + std::to_string(request.header.word) + ")";
}

std::vector<std::string> Differences(const Entry& entry, const Request& request,
                                     const Memory& memory) {
  std::vector<std::string> differences;
  if (entry.command != nullptr && entry.command != request.command) {
    differences.push_back("command: expected " + CodeOf(*entry.command) + ", got " +
                          CommandOf(request));
    return differences;
  }
  for (const auto& [name, matcher] : entry.fields) {
    const Value* const got = Find(request.fields, name);
    if (got == nullptr || !Matches(matcher, *got, memory.captures)) {
      differences.push_back(
          name + ": expected " + Describe(matcher, memory.captures) +
          (got != nullptr ? ", got " + Shown(*got) : ", the payload is too short"));
    }
  }
  if (entry.IsUsedUp()) {
    differences.emplace_back("it may reply no more");
  }
  if (!entry.when.empty() && entry.when != memory.state) {
    differences.push_back("state: expected " + entry.when + ", it is " +
                          (memory.state.empty() ? "none" : memory.state));
  }
  return differences;
}

bool Covers(const Entry& first, const Entry& second) {
  if (first.times || (!first.when.empty() && first.when != second.when)) {
    return false;
  }
  const bool atConnect = first.Is(Reply::Type::CLOSE_BEFORE_READING);
  if (atConnect || second.Is(Reply::Type::CLOSE_BEFORE_READING)) {
    return atConnect;
  }
  return (first.command == nullptr || first.command == second.command) &&
         std::all_of(first.fields.begin(), first.fields.end(), [&](const FieldMatcher& field) {
           return std::any_of(
               second.fields.begin(), second.fields.end(), [&](const FieldMatcher& other) {
                 return field.name == other.name && IsSameMatcher(field.matcher, other.matcher);
               });
         });
}

std::string CountFailure(const Entry& entry) {
  const bool tooMany = entry.mostUses && entry.uses > *entry.mostUses;
  if (!tooMany && entry.uses >= entry.leastUses) {
    return "";
  }
  return entry.name + " (" + (entry.command != nullptr ? entry.command->word : "any command") +
         ") replied to " + std::to_string(entry.uses) +
         (entry.uses == 1 ? " request, " : " requests, ") +
         (tooMany ? "at most " + std::to_string(*entry.mostUses)
                  : "at least " + std::to_string(entry.leastUses)) +
         " expected";
}

}  // namespace standin
