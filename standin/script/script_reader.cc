// Reads the file, its two forms, and the entries of both.

#include "script/script_reader.h"

#include <fstream>
#include <limits>
#include <utility>
#include <vector>

#include "protocol/layout.h"
#include "script/answer_reader.h"
#include "script/entry.h"
#include "script/json_reader.h"
#include "script/rules.h"
#include "script/sequence.h"

namespace standin {
namespace {

Json ParseFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw ScriptError(path + ": cannot be opened");
  }
  try {
    return Json::parse(file);
  } catch (const Json::exception& error) {
    throw ScriptError(path + ": " + error.what());
  } catch (const std::ios_base::failure&) {
    throw ScriptError(path + ": cannot be read");  // a folder can be opened
  }
}

void CheckKind(const JsonReader& json, ValueKind kind) {
  const Json& value = json.Value();
  switch (kind) {
    case ValueKind::TEXT:
      (void)json.Text();
      break;
    case ValueKind::NATURAL:
      (void)json.Natural(0, std::numeric_limits<std::uint64_t>::max());
      break;
    case ValueKind::NUMBER:
      if (!value.is_number() && value != "nan" && value != "inf" && value != "-inf") {
        json.Refuse("must be a number, or nan, inf or -inf as a text");
      }
      break;
    case ValueKind::LIST:
      json.ForEachItem([](const JsonReader& item) { (void)item.Text(); });
      break;
  }
}

void CheckField(const CommandInfo& command, const std::string& name, const JsonReader& json) {
  std::string known;
  for (const FieldLayout& field : LayoutOf(command.shape).fields) {
    if (field.name == name) {
      return CheckKind(json, KindOf(field.type));
    }
    known += (known.empty() ? "" : ", ") + std::string(field.name);
  }
  json.Refuse(std::string(command.word) + " has no field of this name, but " +
              (known.empty() ? "none" : known));
}

void ReadFields(const JsonReader& json, Entry& entry) {
  if (entry.command == nullptr) {
    json.Refuse("needs a command beside it");
  }
  json.ForEachMember([&](const std::string& name, const JsonReader& member) {
    CheckField(*entry.command, name, member);
  });
  entry.fields = json.Value();
}

/// An answer that comes early cannot depend on what has not been read by then.
void CheckMoment(const JsonReader& json, const Entry& entry) {
  if (entry.Is(Answer::Kind::CLOSE_BEFORE_READING) && json.Has("command")) {
    json.Refuse("close before-reading comes before the command is known");
  }
  if (entry.Is(Answer::Kind::CLOSE_AFTER_HEADER) && json.Has("fields")) {
    json.Refuse("close after-header comes before the fields are known");
  }
}

Entry ReadEntry(const JsonReader& json) {
  Entry entry;
  if (json.Has("command")) {
    const JsonReader word = json.Member("command");
    entry.command = CommandOfWord(word.Text());
    if (entry.command == nullptr) {
      word.Refuse("no command is called \"" + word.Text() + "\"");
    }
  }
  if (json.Has("fields")) {
    ReadFields(json.Member("fields"), entry);
  }
  if (json.Has("answer")) {
    entry.answer = ReadAnswer(json.Member("answer"));
  }
  if (json.Has("times")) {
    entry.times = json.Member("times").Natural(1, std::numeric_limits<std::uint32_t>::max());
  }
  CheckMoment(json, entry);
  return entry;
}

}  // namespace

std::unique_ptr<AnswerSource> ReadScript(const std::string& path) {
  const Json document = ParseFile(path);
  const JsonReader json(document, path, std::filesystem::path(path).parent_path());
  json.OnlyMembers({"$schema", "rules", "sequence"});
  if (json.Has("$schema")) {
    (void)json.Member("$schema").Text();
  }
  if (json.Has("rules") == json.Has("sequence")) {
    json.Refuse("must have either rules or a sequence");
  }
  std::vector<Entry> entries;
  if (json.Has("rules")) {
    json.Member("rules").ForEachItem([&](const JsonReader& rule) {
      rule.OnlyMembers({"command", "fields", "answer", "times"});
      entries.push_back(ReadEntry(rule));
    });
    return std::make_unique<Rules>(std::move(entries));
  }
  json.Member("sequence").ForEachItem([&](const JsonReader& entry) {
    entry.OnlyMembers({"command", "fields", "answer"});
    entries.push_back(ReadEntry(entry));
  });
  return std::make_unique<Sequence>(std::move(entries));
}

}  // namespace standin
