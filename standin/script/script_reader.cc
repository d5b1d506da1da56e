// Reads the file, its two forms, and the entries of both.

#include "script/script_reader.h"

#include <fstream>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "contract/contract.h"
#include "json/json.h"
#include "script/entry.h"
#include "script/json_reader.h"
#include "script/reply_reader.h"
#include "script/rules.h"
#include "script/sequence.h"

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

void CheckType(const JsonReader& json, contract::ValueKind type) {
  const Value& value = json.Get();
  switch (type) {
    case contract::ValueKind::TEXT:
      (void)json.Text();
      break;
    case contract::ValueKind::NATURAL:
      (void)json.Natural(0, std::numeric_limits<std::uint64_t>::max());
      break;
    case contract::ValueKind::NUMBER:
      if (value.As<double>() == nullptr && value.As<std::uint64_t>() == nullptr &&
          value.Text() != "nan" && value.Text() != "inf" && value.Text() != "-inf") {
        json.Refuse("must be a number, or nan, inf or -inf as a text");
      }
      break;
    case contract::ValueKind::LIST:
      json.ForEachItem([](const JsonReader& item) { (void)item.Text(); });
      break;
  }
}

void CheckField(const contract::Command& command, const std::string& name, const JsonReader& json) {
  std::string known;
  for (const contract::Field& field : command.payload->fields) {
    if (field.name == name) {
      return CheckType(json, field.value);
    }
    known += (known.empty() ? "" : ", ") + field.name;
  }
  json.Refuse(command.word + " has no field of this name, but " + (known.empty() ? "none" : known));
}

void ReadFields(const JsonReader& json, Entry& entry) {
  if (entry.command == nullptr) {
    json.Refuse("needs a command beside it");
  }
  json.ForEachMember([&](const std::string& name, const JsonReader& member) {
    CheckField(*entry.command, name, member);
  });
  entry.fields = *json.Get().As<Object>();
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

/// How often a rule is expected to reply.
void ReadExpect(const JsonReader& json, Entry& entry) {
  json.OnlyMembers({"exactly", "atLeast", "atMost"});
  const auto number = [&](std::string_view name) {
    return json.Member(name).Natural(0, MOST_TIMES);
  };
  if (json.Has("exactly") == (json.Has("atLeast") || json.Has("atMost"))) {
    json.Refuse("must have exactly, or atLeast, atMost or both");
  }
  if (json.Has("exactly")) {
    entry.leastUses = number("exactly");
    entry.mostUses = entry.leastUses;
  }
  if (json.Has("atLeast")) {
    entry.leastUses = number("atLeast");
  }
  if (json.Has("atMost")) {
    entry.mostUses = number("atMost");
  }
  if ((entry.mostUses && *entry.mostUses < entry.leastUses) ||
      (entry.times && *entry.times < entry.leastUses)) {
    json.Refuse("can never be met");
  }
}

Entry ReadEntry(const JsonReader& json, const std::string& place) {
  Entry entry;
  entry.name = json.Has("name") ? json.Member("name").Text() : place;
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
  if (json.Has("times")) {
    entry.times = json.Member("times").Natural(1, MOST_TIMES);
  }
  if (json.Has("expect")) {
    ReadExpect(json.Member("expect"), entry);
  }
  CheckMoment(json, entry);
  return entry;
}

std::vector<Entry> ReadEntries(const JsonReader& json, const std::string& name,
                               std::initializer_list<std::string_view> members) {
  std::vector<Entry> entries;
  json.Member(name).ForEachItem([&](const JsonReader& entry) {
    entry.OnlyMembers(members);
    entries.push_back(ReadEntry(entry, name + "/" + std::to_string(entries.size())));
  });
  return entries;
}

/// Whether requests that no rule matches are refused.
bool ReadUnmatched(const JsonReader& json) {
  if (!json.Has("unmatched")) {
    return false;
  }
  const std::string& word = json.Member("unmatched").Text();
  if (word != "reply" && word != "refuse") {
    json.Member("unmatched").Refuse("must be reply or refuse");
  }
  return word == "refuse";
}

}  // namespace

std::unique_ptr<Script> ReadScript(const std::string& path) {
  const Value document = ParseFile(path);
  const JsonReader json(document, path, std::filesystem::path(path).parent_path());
  json.OnlyMembers({"$schema", "rules", "sequence", "unmatched"});
  if (json.Has("$schema")) {
    (void)json.Member("$schema").Text();
  }
  if (json.Has("rules") == json.Has("sequence")) {
    json.Refuse("must have either rules or a sequence");
  }
  if (json.Has("rules")) {
    return std::make_unique<Rules>(
        ReadEntries(json, "rules", {"name", "command", "fields", "reply", "times", "expect"}),
        ReadUnmatched(json));
  }
  if (json.Has("unmatched")) {
    json.Refuse("unmatched belongs to rules");
  }
  return std::make_unique<Sequence>(
      ReadEntries(json, "sequence", {"name", "command", "fields", "reply"}));
}

}  // namespace standin
