// An entry of a script: which request is meant, and what is done about it.

#ifndef STANDIN_SCRIPT_ENTRY_H
#define STANDIN_SCRIPT_ENTRY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "script/answer.h"

namespace standin {

struct Entry {
  const CommandInfo* command = nullptr;  ///< null: any
  Json fields = Json::object();          ///< the fields that count, with their values
  std::optional<Answer> answer;          ///< none: the plausible one
  std::optional<std::uint64_t> times;    ///< how often a rule may answer

  [[nodiscard]] bool Is(Answer::Kind kind) const { return answer && answer->kind == kind; }
  [[nodiscard]] std::string_view CommandWord() const {
    return command != nullptr ? command->word : "any command";
  }
};

/// In what `request` is not what the entry means, a line for each difference;
/// empty if it is.
[[nodiscard]] std::vector<std::string> Differences(const Entry& entry, const Request& request);

[[nodiscard]] Answer AnswerOf(const Entry& entry, const Request& request);

}  // namespace standin

#endif  // STANDIN_SCRIPT_ENTRY_H
