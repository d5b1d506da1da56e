// Reads the file, its three forms, and the entries of both.

#include "script/script_reader.h"

#include <fstream>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "contract/contract.h"
#include "json/json.h"
#include "script/entries.h"
#include "script/json_reader.h"
#include "script/matcher_reader.h"
#include "script/names.h"
#include "script/reply_reader.h"

namespace standin {
namespace {

constexpr std::uint64_t MOST_TIMES = std::numeric_limits<std::uint32_t>::max();
constexpr std::uintmax_t MOST_SIZE = 64U << 20U;

Value ParseFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw ScriptError(path + ": cannot be opened");
  }
  try {
    std::string text;
    for (std::string piece(65536, '\0'); file; text.append(piece, 0, piece.size())) {
      file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
      piece.resize(static_cast<std::size_t>(file.gcount()));
      if (text.size() > MOST_SIZE) {
        break;
      }
    }
    if (text.size() > MOST_SIZE) {
      throw ScriptError(path + ": is longer than 64 MiB");
    }
    if (file.bad()) {
      throw ScriptError(path + ": cannot be read");  // a folder can be opened
    }
    return ParseJson(text);
  } catch (const ScriptError&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw ScriptError(path + ": " + error.what());
  }
}

void ReadFields(const JsonReader& json, Entry& entry) {
  if (entry.command == nullptr) {
    json.Refuse("needs a command beside it");
  }
  json.ForEachMember([&](const std::string& name, const JsonReader& member) {
    const contract::Field* const field = entry.command->payload->FieldNamed(name);
    if (field == nullptr) {
      std::string known;
      for (const contract::Field& other : entry.command->payload->fields) {
        known += (known.empty() ? "" : ", ") + other.name;
      }
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
  const auto number = [&](std::string_view name) -> std::optional<std::uint64_t> {
    return json.Has(name) ? std::optional(json.Member(name).Natural(0, MOST_TIMES)) : std::nullopt;
  };
  if (json.Has("exactly") == (json.Has("atLeast") || json.Has("atMost"))) {
    json.Refuse("must have exactly, or atLeast, atMost or both");
  }
  const std::optional<std::uint64_t> exactly = number("exactly");
  entry.leastUses = exactly ? *exactly : number("atLeast").value_or(0);
  entry.mostUses = exactly ? exactly : number("atMost");
  if (entry.mostUses && *entry.mostUses < entry.leastUses) {
    json.Refuse("can never be met");
  }
}

std::string ReadName(const JsonReader& json, const char* member) {
  const std::string& name = json.Member(member).Text();
  if (name.empty()) {
    json.Member(member).Refuse("must be a name");
  }
  return name;
}

Entry ReadEntry(const JsonReader& json, const std::string& place) {
  Entry entry;
  entry.name = json.Has("name") ? ReadName(json, "name") : place;
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

Entry ReadRule(const JsonReader& json, const std::string& place) {
  json.OnlyMembers({"name", "command", "fields", "reply", "when", "then", "times", "expect"});
  Entry rule = ReadEntry(json, place);
  if (json.Has("when")) {
    rule.when = ReadName(json, "when");
  }
  if (json.Has("then")) {
    rule.then = ReadName(json, "then");
  }
  if (json.Has("times")) {
    rule.times = json.Member("times").Natural(1, MOST_TIMES);
  }
  if (json.Has("expect")) {
    ReadExpect(json.Member("expect"), rule);
    if (rule.when.empty() && rule.times && *rule.times < rule.leastUses) {
      json.Member("expect").Refuse("can never be met");
    }
  }
  return rule;
}

/// An entry of a sequence: unless it expects otherwise, it comes once.
Entry ReadStep(const JsonReader& json, const std::string& place) {
  json.OnlyMembers({"name", "command", "fields", "reply", "expect"});
  Entry step = ReadEntry(json, place);
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

/// `json`: an array. `place`: its name.
template <typename ReadOne>
Group ReadGroup(const JsonReader& json, const std::string& place, ReadOne readOne) {
  Group group;
  json.ForEachItem([&](const JsonReader& item) {
    group.push_back(readOne(item, place + "/" + std::to_string(group.size())));
  });
  return group;
}

Sequence ReadSequence(const JsonReader& json, const std::string& place) {
  Sequence sequence;
  json.ForEachItem([&](const JsonReader& item) {
    const std::string name = place + "/" + std::to_string(sequence.groups.size());
    if (item.Has("anyOrder")) {
      item.OnlyMembers({"anyOrder"});
      sequence.groups.push_back(ReadGroup(item.Member("anyOrder"), name, ReadStep));
    } else {
      sequence.groups.push_back({ReadStep(item, name)});
    }
  });
  return sequence;
}

std::vector<Sequence> ReadSequences(const JsonReader& json) {
  std::vector<Sequence> sequences;
  json.ForEachItem([&](const JsonReader& item) {
    sequences.push_back(ReadSequence(item, "sequences/" + std::to_string(sequences.size())));
  });
  return sequences;
}

Unmatched ReadUnmatched(const JsonReader& json) {
  if (!json.Has("unmatched")) {
    return Unmatched::REPLY;
  }
  const std::string& word = json.Member("unmatched").Text();
  if (word != "reply" && word != "refuse") {
    json.Member("unmatched").Refuse("must be reply or refuse");
  }
  return word == "refuse" ? Unmatched::REFUSE : Unmatched::REPLY;
}

}  // namespace

std::unique_ptr<Script> ReadScript(const std::string& path) {
  const Value document = ParseFile(path);
  const JsonReader json(document, path, std::filesystem::path(path).parent_path());
  json.OnlyMembers({"$schema", "rules", "sequence", "sequences", "unmatched", "state"});
  if (json.Has("$schema")) {
    (void)json.Member("$schema").Text();
  }
  if (json.Has("rules") + json.Has("sequence") + json.Has("sequences") != 1) {
    json.Refuse("must have one of rules, sequence and sequences");
  }
  if (!json.Has("rules") && (json.Has("unmatched") || json.Has("state"))) {
    json.Refuse("unmatched and state belong to rules");
  }
  if (json.Has("rules")) {
    std::vector<Sequence> rules = {{{ReadGroup(json.Member("rules"), "rules", ReadRule)}}};
    const std::string state = json.Has("state") ? ReadName(json, "state") : "";
    CheckNames(json, rules, state);
    return std::make_unique<Entries>(std::move(rules), ReadUnmatched(json), state);
  }
  std::vector<Sequence> sequences =
      json.Has("sequences") ? ReadSequences(json.Member("sequences"))
                            : std::vector{ReadSequence(json.Member("sequence"), "sequence")};
  CheckNames(json, sequences, "");
  return std::make_unique<Entries>(std::move(sequences), Unmatched::REFUSE_ALL, "");
}

}  // namespace standin
