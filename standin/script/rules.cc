// Rules are tried in their order at each of the three moments of a connection.

#include "script/rules.h"

#include <utility>

namespace standin {

Rules::Rules(std::vector<Entry> rules) : rules_(std::move(rules)) {}

const Entry* Rules::Take(std::optional<Answer::Kind> kind,
                         const std::function<bool(const Entry&)>& means) {
  const std::lock_guard lock(mutex_);
  for (Entry& rule : rules_) {
    if ((rule.times && *rule.times == 0) || !means(rule)) {
      continue;
    }
    if (kind && !rule.Is(*kind)) {
      return nullptr;
    }
    if (rule.times) {
      --*rule.times;
    }
    return &rule;
  }
  return nullptr;
}

std::optional<Answer> Rules::AtConnect() {
  const Entry* rule = Take(Answer::Kind::CLOSE_BEFORE_READING, [](const Entry& entry) {
    return entry.Is(Answer::Kind::CLOSE_BEFORE_READING);
  });
  return rule != nullptr ? rule->answer : std::nullopt;
}

std::optional<Answer> Rules::AtHeader(const Header& header) {
  // A rule on fields may be the first to mean this request: only the payload tells.
  const Entry* rule = Take(Answer::Kind::CLOSE_AFTER_HEADER, [&](const Entry& entry) {
    return !entry.Is(Answer::Kind::CLOSE_BEFORE_READING) &&
           (entry.command == nullptr || entry.command->code == header.word);
  });
  return rule != nullptr ? rule->answer : std::nullopt;
}

Verdict Rules::AtRequest(const Request& request) {
  const Entry* rule = Take(std::nullopt, [&](const Entry& entry) {
    return !entry.Is(Answer::Kind::CLOSE_BEFORE_READING) && Differences(entry, request).empty();
  });
  return {rule != nullptr ? AnswerOf(*rule, request) : PlausibleAnswer(request), {}};
}

}  // namespace standin
