// Rules are tried in their order at each of the three moments of a connection.

#include "script/rules.h"

#include <utility>

namespace standin {

Rules::Rules(std::vector<Entry> rules) : rules_(std::move(rules)) {}

const Entry* Rules::Take(std::optional<Reply::Type> type,
                         const std::function<bool(const Entry&)>& matches) {
  for (Entry& rule : rules_) {
    if ((rule.times && *rule.times == 0) || !matches(rule)) {
      continue;
    }
    if (type && !rule.Is(*type)) {
      return nullptr;
    }
    if (rule.times) {
      --*rule.times;
    }
    return &rule;
  }
  return nullptr;
}

SharedReply Rules::AtConnect() {
  const Entry* rule = Take(Reply::Type::CLOSE_BEFORE_READING, [](const Entry& entry) {
    return entry.Is(Reply::Type::CLOSE_BEFORE_READING);
  });
  return rule != nullptr ? rule->reply : nullptr;
}

SharedReply Rules::AtHeader(const Header& header) {
  // A rule on fields may be the first to match this request: only the payload shows that.
  const Entry* rule = Take(Reply::Type::CLOSE_AFTER_HEADER, [&](const Entry& entry) {
    return !entry.Is(Reply::Type::CLOSE_BEFORE_READING) &&
           (entry.command == nullptr || entry.command->code == header.word);
  });
  return rule != nullptr ? rule->reply : nullptr;
}

Outcome Rules::AtRequest(const Request& request) {
  const Entry* rule = Take(std::nullopt, [&](const Entry& entry) {
    return !entry.Is(Reply::Type::CLOSE_BEFORE_READING) && Differences(entry, request).empty();
  });
  return {rule != nullptr ? ReplyOf(*rule, request) : DefaultReply(request), {}};
}

}  // namespace standin
