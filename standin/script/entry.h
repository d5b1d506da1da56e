// An entry of a script: which requests it matches, and what is done about them.

#ifndef STANDIN_SCRIPT_ENTRY_H
#define STANDIN_SCRIPT_ENTRY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "script/matcher.h"
#include "script/reply.h"

namespace standin {

/// What earlier requests have left behind.
struct Memory {
  std::string state = {};
  Captures captures = {};
};

struct FieldMatcher {
  std::string name;
  Matcher matcher;
};

struct Entry {
  std::string name = {};                       ///< in logs and reports
  const contract::Command* command = nullptr;  ///< null: any
  std::vector<FieldMatcher> fields = {};       ///< those that count
  SharedReply reply = nullptr;                 ///< null: the default one
  std::string when = {};                       ///< the state it holds in; empty: any
  std::string then = {};                       ///< the state it sets; empty: none
  std::optional<std::uint64_t> times = {};     ///< how often it may reply, in its state
  std::uint64_t leastUses = 0;                 ///< how often it is expected to
  std::optional<std::uint64_t> mostUses = {};
  std::uint64_t uses = 0;        ///< how often it has replied
  std::uint64_t usesBefore = 0;  ///< of these, before the state was entered
  std::size_t sequence = 0;      ///< the number of its sequence; rules are a single one
  std::size_t group = 0;         ///< the number of the first entry of its group

  [[nodiscard]] bool Is(Reply::Type type) const { return reply && reply->type == type; }
  [[nodiscard]] bool IsUsedUp() const { return times && uses - usesBefore >= *times; }
  /// Whether it may reply at all now.
  [[nodiscard]] bool Holds(const Memory& memory) const {
    return !IsUsedUp() && (when.empty() || when == memory.state);
  }
};

/// `name`: unless the entry has one. Both throw ScriptError. A rule may reply any number of
/// times; a step of a sequence comes once unless it expects otherwise.
[[nodiscard]] Entry ReadRule(const JsonReader& json, const std::string& name);
[[nodiscard]] Entry ReadStep(const JsonReader& json, const std::string& name);

/// "stats (code 1)", "no command (code 38)".
[[nodiscard]] std::string CommandOf(const Request& request);

/// In what `request` is not what the entry matches now, a line for each difference; empty
/// if it matches.
[[nodiscard]] std::vector<std::string> Differences(const Entry& entry, const Request& request,
                                                   const Memory& memory);

/// Whether `first` matches, as often as they come, all requests that `second` does.
[[nodiscard]] bool Covers(const Entry& first, const Entry& second);

/// What is wrong with how often it has replied; empty if nothing.
[[nodiscard]] std::string CountFailure(const Entry& entry);

}  // namespace standin

#endif  // STANDIN_SCRIPT_ENTRY_H
