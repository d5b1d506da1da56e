// An entry of a script: which requests it matches, and what is done about them.

#ifndef STANDIN_SCRIPT_ENTRY_H
#define STANDIN_SCRIPT_ENTRY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "script/reply.h"

namespace standin {

struct Entry {
  std::string name = {};                       ///< in logs and reports
  const contract::Command* command = nullptr;  ///< null: any
  Object fields = {};                          ///< the fields that count, with their values
  SharedReply reply = nullptr;                 ///< null: the default one
  std::optional<std::uint64_t> times = {};     ///< how often a rule may reply
  std::uint64_t leastUses = 0;                 ///< how often it is expected to
  std::optional<std::uint64_t> mostUses = {};
  std::uint64_t uses = 0;  ///< how often it has replied

  [[nodiscard]] bool Is(Reply::Type type) const { return reply && reply->type == type; }
  [[nodiscard]] std::string CommandWord() const {
    return command != nullptr ? command->word : "any command";
  }
};

/// "stats (code 1)", "no command (code 38)".
[[nodiscard]] std::string CommandOf(const Request& request);

/// In what `request` is not what the entry matches, a line for each difference; empty if
/// it matches.
[[nodiscard]] std::vector<std::string> Differences(const Entry& entry, const Request& request);

[[nodiscard]] SharedReply ReplyOf(const Entry& entry, const Request& request);

}  // namespace standin

#endif  // STANDIN_SCRIPT_ENTRY_H
