// Entries are tried in their order at each of the three moments of a connection.

#include "script/script.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <set>
#include <utility>

#include "core/text.h"

namespace standin {
namespace {

/// Each is compared with all others.
constexpr std::size_t MOST_ENTRIES = 10000;
constexpr std::uintmax_t MOST_SIZE = 64U << 20U;

Value ParseFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw ScriptError(path + ": cannot be opened");
  }
  std::string text;
  for (std::string piece(65536, '\0'); file && text.size() <= MOST_SIZE; text += piece) {
    file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    piece.resize(static_cast<std::size_t>(file.gcount()));
  }
  if (text.size() > MOST_SIZE) {
    throw ScriptError(path + ": is longer than 64 MiB");
  }
  if (file.bad()) {
    throw ScriptError(path + ": cannot be read");  // a folder can be opened
  }
  try {
    return ParseJson(text);
  } catch (const std::runtime_error& error) {
    throw ScriptError(path + ": " + error.what());
  }
}

void ReadSequence(const JsonReader& json, const std::string& name, std::vector<Entry>& entries) {
  const std::size_t sequence = entries.empty() ? 0 : entries.back().sequence + 1;
  std::size_t index = 0;
  json.ForEachItem([&](const JsonReader& item) {
    const std::size_t group = entries.size();
    const std::string place = name + "/" + std::to_string(index++);
    if (item.Has("anyOrder")) {
      item.OnlyMembers({"anyOrder"});
      item.Member("anyOrder").ForEachItem([&](const JsonReader& step) {
        entries.push_back(ReadStep(step, place + "/" + std::to_string(entries.size() - group)));
      });
    } else {
      entries.push_back(ReadStep(item, place));
    }
    for (std::size_t entry = group; entry < entries.size(); ++entry) {
      entries[entry].sequence = sequence;
      entries[entry].group = group;
    }
  });
}

std::vector<Entry> ReadEntries(const JsonReader& json) {
  std::vector<Entry> entries;
  if (json.Has("rules")) {
    json.Member("rules").ForEachItem([&](const JsonReader& rule) {
      entries.push_back(ReadRule(rule, "rules/" + std::to_string(entries.size())));
    });
  } else if (json.Has("sequence")) {
    ReadSequence(json.Member("sequence"), "sequence", entries);
  } else {
    std::size_t index = 0;
    json.Member("sequences").ForEachItem([&](const JsonReader& sequence) {
      ReadSequence(sequence, "sequences/" + std::to_string(index++), entries);
    });
  }
  if (entries.size() > MOST_ENTRIES) {
    json.Refuse("has more than " + std::to_string(MOST_ENTRIES) + " entries");
  }
  return entries;
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

bool DoesCapture(const Entry& entry, const std::string& name) {
  return std::any_of(entry.fields.begin(), entry.fields.end(),
                     [&](const FieldMatcher& field) { return field.matcher.capture == name; });
}

std::string CommandsOf(const std::vector<Entry*>& entries) {
  std::set<std::string> words;
  for (const Entry* const entry : entries) {
    words.insert(entry->command != nullptr ? entry->command->word : "any");
  }
  return words.empty() ? "nothing more" : Join(words, " or ");
}

}  // namespace

Script::Script(std::vector<Entry> entries, Unmatched unmatched, std::string state)
    : entries_(std::move(entries)), unmatched_(unmatched), memory_{std::move(state), {}} {
  for (const Entry& entry : entries_) {
    if (entry.sequence == current_.size()) {
      current_.push_back(entry.group);
    }
  }
}

std::vector<Entry*> Script::AllDue() {
  std::vector<Entry*> due;
  for (const std::size_t current : current_) {
    auto group = entries_.begin() + static_cast<std::ptrdiff_t>(current);
    const std::size_t sequence = group->sequence;
    for (bool waits = false; !waits && group != entries_.end() && group->sequence == sequence;) {
      const auto end = std::find_if(
          group, entries_.end(), [&](const Entry& entry) { return entry.group != group->group; });
      if (!std::all_of(group, end, std::mem_fn(&Entry::IsUsedUp))) {
        std::for_each(group, end, [&](Entry& entry) { due.push_back(&entry); });
      }
      waits =
          std::any_of(group, end, [](const Entry& entry) { return entry.uses < entry.leastUses; });
      group = end;
    }
  }
  return due;
}

Entry* Script::FirstDue(const std::function<bool(const Entry&)>& matches) {
  const std::vector<Entry*> due = AllDue();
  const auto found = std::find_if(due.begin(), due.end(), [&](const Entry* entry) {
    return entry->Holds(memory_) && matches(*entry);
  });
  return found != due.end() ? *found : nullptr;
}

Outcome Script::Take(Entry& entry, const Request* request) {
  ++taken_;
  ++entry.uses;
  current_[entry.sequence] = entry.group;
  if (request != nullptr) {
    for (const auto& [name, matcher] : entry.fields) {
      if (!matcher.capture.empty()) {
        memory_.captures[matcher.capture] = *Find(request->fields, name);
      }
    }
  }
  if (!entry.then.empty() && entry.then != memory_.state) {
    memory_.state = entry.then;
    for (Entry& other : entries_) {
      other.usesBefore = other.when == entry.then ? other.uses : other.usesBefore;
    }
  }
  return {entry.reply || request == nullptr ? entry.reply : DefaultReply(*request), entry.name};
}

Outcome Script::AtConnect() {
  if (IsOver()) {
    return {};
  }
  Entry* const found =
      FirstDue([](const Entry& entry) { return entry.Is(Reply::Type::CLOSE_BEFORE_READING); });
  return found != nullptr ? Take(*found, nullptr) : Outcome{};
}

Outcome Script::AtHeader(const Header& header) {
  if (IsOver()) {
    return {};
  }
  // An entry on fields may be the first to match this request: only the payload shows that.
  Entry* const found = FirstDue([&](const Entry& entry) {
    return entry.command == nullptr || entry.command->code == header.word;
  });
  return found != nullptr && found->Is(Reply::Type::CLOSE_AFTER_HEADER) ? Take(*found, nullptr)
                                                                        : Outcome{};
}

Outcome Script::AtRequest(const Request& request) {
  if (IsOver()) {
    return {Refusal("the script was not followed before")};
  }
  Entry* const found =
      FirstDue([&](const Entry& entry) { return Differences(entry, request, memory_).empty(); });
  if (found != nullptr) {
    return Take(*found, &request);
  }
  return unmatched_ == Unmatched::REPLY ? Outcome{DefaultReply(request)} : Refuse(request);
}

Outcome Script::Refuse(const Request& request) {
  const std::vector<Entry*> due = AllDue();
  // The nearest is of the same command and differs the least. A single one is the nearest.
  const Entry* nearest = due.size() == 1 ? due.front() : nullptr;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const Entry* const entry : due) {
    const std::size_t count = Differences(*entry, request, memory_).size();
    if (entry->command == request.command && request.command != nullptr && count < fewest) {
      nearest = entry;
      fewest = count;
    }
  }
  Outcome outcome;
  if (nearest != nullptr) {
    outcome.differences = Differences(*nearest, request, memory_);
  } else {
    outcome.differences = {"command: expected " + CommandsOf(due) + ", got " + CommandOf(request)};
  }
  const bool rules = unmatched_ == Unmatched::REFUSE;
  outcome.reply = Refusal(rules ? "no rule of the script matches the request"
                                : "not the request that the script expects");
  if (failure_.empty()) {
    failure_ =
        rules ? "no rule matches a request of " + CommandOf(request)
              : "request " + std::to_string(taken_ + 1) + " is not the one that the script expects";
    failure_ += nearest != nullptr ? "; the nearest is " + nearest->name : "";
    failure_ += ":\n";
    for (const std::string& line : outcome.differences) {
      failure_ += "  " + line + "\n";
    }
    failure_ += "the request was:\n" + HexDump(request.Bytes());
  }
  return outcome;
}

void Script::AtFailure(const std::string& what) {
  if (unmatched_ == Unmatched::REFUSE_ALL && failure_.empty()) {
    failure_ = "request " + std::to_string(taken_ + 1) + " did not arrive whole: " + what + "\n";
  }
}

std::string Script::Failure() const {
  std::string failure = failure_;
  if (!IsOver()) {
    for (const Entry& entry : entries_) {
      const std::string count = CountFailure(entry);
      failure += count.empty() ? "" : count + "\n";
    }
  }
  return failure;
}

std::string Script::Summary() const {
  std::string unused;
  for (const Entry& entry : entries_) {
    unused += entry.uses == 0 ? (unused.empty() ? "never used: " : ", ") + entry.name : "";
  }
  if (unmatched_ != Unmatched::REFUSE_ALL) {
    return unused;
  }
  return "the script was followed: " + std::to_string(taken_) +
         (taken_ == 1 ? " request" : " requests") + (unused.empty() ? "" : "; " + unused);
}

std::string Script::NeverReached() const {
  std::string text;
  for (const Entry& entry : entries_) {
    // Of the groups before only the last may still be waited for.
    std::size_t first = entry.group;
    if (first != 0 && entries_[first - 1].sequence == entry.sequence) {
      first = entries_[first - 1].group;
    }
    const auto covering = std::find_if(&entries_[first], &entry,
                                       [&](const Entry& other) { return Covers(other, entry); });
    if (covering != &entry) {
      text += entry.name + " is never reached: " + covering->name + " matches all that it does\n";
    }
  }
  return text;
}

/// Other sequences may be ahead as far as they like.
bool Script::CanBeCaptured(const std::string& name, const Entry& before) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return &entry != &before && DoesCapture(entry, name) &&
           (entry.sequence != before.sequence || entry.group <= before.group);
  });
}

std::string Script::NeverMatching() const {
  for (const Entry& entry : entries_) {
    if (!entry.when.empty() && entry.when != memory_.state &&
        std::none_of(entries_.begin(), entries_.end(),
                     [&](const Entry& other) { return other.then == entry.when; })) {
      return entry.name + " can never match: nothing sets the state " + entry.when;
    }
    for (const auto& [name, matcher] : entry.fields) {
      if (!matcher.captured.empty() && !CanBeCaptured(matcher.captured, entry)) {
        return entry.name + " can never match: no entry before it captures " + matcher.captured;
      }
    }
  }
  return "";
}

Script ReadScript(const std::string& path) {
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
  const Unmatched unmatched = json.Has("rules") ? ReadUnmatched(json) : Unmatched::REFUSE_ALL;
  Script script(ReadEntries(json), unmatched, json.NameIn("state"));
  const std::string why = script.NeverMatching();
  if (!why.empty()) {
    json.Refuse(why);
  }
  return script;
}

}  // namespace standin
