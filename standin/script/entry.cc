// Reads an entry, and compares a request with it, field by field.

#include "script/entry.h"

#include <algorithm>
#include <limits>

#include "core/text.h"

namespace standin {
namespace {

constexpr std::uint64_t MOST_TIMES = std::numeric_limits<std::uint32_t>::max();

std::string CodeOf(const contract::Command& command) {
  return command.word + " (code " + std::to_string(command.code) + ")";
}

void ReadFields(const JsonReader& json, Entry& entry) {
  if (entry.command == nullptr) {
    json.Refuse("needs a command beside it");
  }
  json.ForEachMember([&](const std::string& name, const JsonReader& member) {
    const contract::Field* const field = entry.command->payload->FieldNamed(name);
    if (field == nullptr) {
      const std::string known = Join(entry.command->payload->fields, ", ", &contract::Field::name);
      member.Refuse(entry.command->word + " has no field of this name, but " +
                    (known.empty() ? "none" : known));
    }
    entry.fields.push_back({name, ReadMatcher(member, *field)});
  });
}

/// A reply that comes early cannot depend on what has not been read by then.
void CheckMoment(const JsonReader& json, const Entry& entry) {
  if (entry.Is(Reply::Type::CLOSE_BEFORE_READING) && json.Has("command")) {
    json.Refuse("close before-reading comes before the command is known");
  }
  if (entry.Is(Reply::Type::CLOSE_AFTER_HEADER) && json.Has("fields")) {
    json.Refuse("close after-header comes before the fields are known");
  }
}

/// How often an entry is expected to reply.
void ReadExpect(const JsonReader& json, Entry& entry) {
  json.OnlyMembers({"exactly", "atLeast", "atMost"});
  if (json.Has("exactly") == (json.Has("atLeast") || json.Has("atMost"))) {
    json.Refuse("must have exactly, or atLeast, atMost or both");
  }
  const char* const least = json.Has("exactly") ? "exactly" : "atLeast";
  const char* const most = json.Has("exactly") ? "exactly" : "atMost";
  entry.leastUses = json.NaturalIn(least, 0, MOST_TIMES).value_or(0);
  entry.mostUses = json.NaturalIn(most, 0, MOST_TIMES);
  if (entry.mostUses && *entry.mostUses < entry.leastUses) {
    json.Refuse("can never be met");
  }
}

Entry ReadEntry(const JsonReader& json, const std::string& name) {
  Entry entry;
  entry.name = json.Has("name") ? json.NameIn("name") : name;
  if (json.Has("command")) {
    const JsonReader word = json.Member("command");
    entry.command = contract::Get().CommandOfWord(word.Text());
    if (entry.command == nullptr) {
      word.Refuse("no command is called \"" + word.Text() + "\"");
    }
  }
  if (json.Has("fields")) {
    ReadFields(json.Member("fields"), entry);
  }
  if (json.Has("reply")) {
    entry.reply = std::make_shared<Reply>(ReadReply(json.Member("reply")));
  }
  CheckMoment(json, entry);
  return entry;
}

}  // namespace

Entry ReadRule(const JsonReader& json, const std::string& name) {
  json.OnlyMembers({"name", "command", "fields", "reply", "when", "then", "times", "expect"});
  Entry rule = ReadEntry(json, name);
  rule.when = json.NameIn("when");
  rule.then = json.NameIn("then");
  rule.times = json.NaturalIn("times", 1, MOST_TIMES);
  if (json.Has("expect")) {
    ReadExpect(json.Member("expect"), rule);
    if (rule.when.empty() && rule.times && *rule.times < rule.leastUses) {
      json.Member("expect").Refuse("can never be met");
    }
  }
  return rule;
}

Entry ReadStep(const JsonReader& json, const std::string& name) {
  json.OnlyMembers({"name", "command", "fields", "reply", "expect"});
  Entry step = ReadEntry(json, name);
  step.leastUses = 1;
  step.mostUses = 1;
  if (json.Has("expect")) {
    ReadExpect(json.Member("expect"), step);
  }
  if (step.mostUses == 0) {
    json.Member("expect").Refuse("can never match: no request is expected");
  }
  step.times = step.mostUses;
  return step;
}

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
                 return field.name == other.name && WantSame(field.matcher, other.matcher);
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
