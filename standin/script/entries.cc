// Entries are tried in their order at each of the three moments of a connection.

#include "script/entries.h"

#include <algorithm>
#include <limits>
#include <set>

#include "core/hex.h"

namespace standin {

std::vector<Entries::Due> Entries::AllDue() {
  std::vector<Due> due;
  for (Sequence& sequence : sequences_) {
    for (std::size_t index = sequence.current; index < sequence.groups.size(); ++index) {
      Group& group = sequence.groups[index];
      if (!std::all_of(group.begin(), group.end(), std::mem_fn(&Entry::IsUsedUp))) {
        for (Entry& entry : group) {
          due.push_back({&entry, &sequence, index});
        }
      }
      if (std::any_of(group.begin(), group.end(),
                      [](const Entry& entry) { return entry.uses < entry.leastUses; })) {
        break;
      }
    }
  }
  return due;
}

const Entries::Due* Entries::FirstOf(const std::vector<Due>& due,
                                     const std::function<bool(const Entry&)>& matches) const {
  const auto found = std::find_if(due.begin(), due.end(), [&](const Due& one) {
    return one.entry->Holds(memory_) && matches(*one.entry);
  });
  return found != due.end() ? &*found : nullptr;
}

Outcome Entries::Take(const Due& due, const Request* request) {
  Entry& entry = *due.entry;
  ++taken_;
  ++entry.uses;
  due.sequence->current = due.group;
  if (request != nullptr) {
    for (const auto& [name, matcher] : entry.fields) {
      if (!matcher.capture.empty()) {
        memory_.captures[matcher.capture] = *Find(request->fields, name);
      }
    }
  }
  if (!entry.then.empty() && entry.then != memory_.state) {
    memory_.state = entry.then;
    for (Entry& other : due.sequence->groups[due.group]) {
      other.usesBefore = other.when == entry.then ? other.uses : other.usesBefore;
    }
  }
  return {entry.reply || request == nullptr ? entry.reply : DefaultReply(*request), entry.name};
}

Outcome Entries::AtConnect() {
  if (unmatched_ == Unmatched::REFUSE_ALL && !failure_.empty()) {
    return {};
  }
  const std::vector<Due> due = AllDue();
  const Due* const found =
      FirstOf(due, [](const Entry& entry) { return entry.Is(Reply::Type::CLOSE_BEFORE_READING); });
  return found != nullptr ? Take(*found, nullptr) : Outcome{};
}

Outcome Entries::AtHeader(const Header& header) {
  if (unmatched_ == Unmatched::REFUSE_ALL && !failure_.empty()) {
    return {};
  }
  // An entry on fields may be the first to match this request: only the payload shows that.
  const std::vector<Due> due = AllDue();
  const Due* const found = FirstOf(due, [&](const Entry& entry) {
    return entry.command == nullptr || entry.command->code == header.word;
  });
  return found != nullptr && found->entry->Is(Reply::Type::CLOSE_AFTER_HEADER)
             ? Take(*found, nullptr)
             : Outcome{};
}

Outcome Entries::AtRequest(const Request& request) {
  if (unmatched_ == Unmatched::REFUSE_ALL && !failure_.empty()) {
    return {Refusal("the script was not followed before")};
  }
  const std::vector<Due> due = AllDue();
  const Due* const found = FirstOf(
      due, [&](const Entry& entry) { return Differences(entry, request, memory_).empty(); });
  if (found != nullptr) {
    return Take(*found, &request);
  }
  return unmatched_ == Unmatched::REPLY ? Outcome{DefaultReply(request)} : Refuse(due, request);
}

std::string Entries::CommandsOf(const std::vector<Due>& due) {
  std::set<std::string> words;
  for (const Due& one : due) {
    words.insert(one.entry->command != nullptr ? one.entry->command->word : "any");
  }
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " or ") + word;
  }
  return text.empty() ? "nothing more" : text;
}

Outcome Entries::Refuse(const std::vector<Due>& due, const Request& request) {
  // The nearest is of the same command and differs the least. A single one is the nearest.
  const Entry* nearest = due.size() == 1 ? due.front().entry : nullptr;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const Due& one : due) {
    const std::size_t count = Differences(*one.entry, request, memory_).size();
    if (one.entry->command == request.command && request.command != nullptr && count < fewest) {
      nearest = one.entry;
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

void Entries::AtFailure(const std::string& what) {
  if (unmatched_ == Unmatched::REFUSE_ALL && failure_.empty()) {
    failure_ = "request " + std::to_string(taken_ + 1) + " did not arrive whole: " + what + "\n";
  }
}

void Entries::ForEach(const std::function<void(const Entry&)>& visit) const {
  for (const Sequence& sequence : sequences_) {
    for (const Group& group : sequence.groups) {
      std::for_each(group.begin(), group.end(), visit);
    }
  }
}

std::string Entries::Failure() const {
  std::string failure = failure_;
  if (unmatched_ != Unmatched::REFUSE_ALL || failure_.empty()) {
    ForEach([&](const Entry& entry) {
      const std::string count = CountFailure(entry);
      failure += count.empty() ? "" : count + "\n";
    });
  }
  return failure;
}

std::string Entries::Summary() const {
  std::string unused;
  ForEach([&](const Entry& entry) {
    unused += entry.uses == 0 ? (unused.empty() ? "never used: " : ", ") + entry.name : "";
  });
  if (unmatched_ != Unmatched::REFUSE_ALL) {
    return unused;
  }
  return "the script was followed: " + std::to_string(taken_) +
         (taken_ == 1 ? " request" : " requests") + (unused.empty() ? "" : "; " + unused);
}

std::string Entries::NeverReached() const {
  std::string text;
  for (const Sequence& sequence : sequences_) {
    std::vector<const Entry*> before;
    for (const Group& group : sequence.groups) {
      const std::size_t earlier = before.size();
      for (const Entry& entry : group) {
        const auto covering = std::find_if(before.begin(), before.end(), [&](const Entry* other) {
          return Covers(*other, entry);
        });
        if (covering != before.end()) {
          text += entry.name + " is never reached: " + (*covering)->name +
                  " matches all that it does\n";
        }
        before.push_back(&entry);
      }
      // Only the group before may still be waited for.
      before.erase(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(earlier));
    }
  }
  return text;
}

}  // namespace standin
