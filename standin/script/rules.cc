// Rules are tried in their order at each of the three moments of a connection.

#include "script/rules.h"

#include <limits>
#include <utility>

#include "core/hex.h"

namespace standin {
namespace {

constexpr std::uint32_t STATUS_FAILURE = 0x0bad0001;

std::string Times(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " request" : " requests");
}

}  // namespace

const Entry* Rules::Take(std::optional<Reply::Type> type,
                         const std::function<bool(const Entry&)>& matches) {
  for (Entry& rule : rules_) {
    if ((rule.times && rule.uses >= *rule.times) || !matches(rule)) {
      continue;
    }
    if (type && !rule.Is(*type)) {
      return nullptr;
    }
    ++rule.uses;
    return &rule;
  }
  return nullptr;
}

Outcome Rules::AtConnect() {
  const Entry* rule = Take(Reply::Type::CLOSE_BEFORE_READING, [](const Entry& entry) {
    return entry.Is(Reply::Type::CLOSE_BEFORE_READING);
  });
  return rule != nullptr ? Outcome{rule->reply, rule->name} : Outcome{};
}

Outcome Rules::AtHeader(const Header& header) {
  // A rule on fields may be the first to match this request: only the payload shows that.
  const Entry* rule = Take(Reply::Type::CLOSE_AFTER_HEADER, [&](const Entry& entry) {
    return !entry.Is(Reply::Type::CLOSE_BEFORE_READING) &&
           (entry.command == nullptr || entry.command->code == header.word);
  });
  return rule != nullptr ? Outcome{rule->reply, rule->name} : Outcome{};
}

Outcome Rules::AtRequest(const Request& request) {
  const Entry* rule = Take(std::nullopt, [&](const Entry& entry) {
    return !entry.Is(Reply::Type::CLOSE_BEFORE_READING) && Differences(entry, request).empty();
  });
  if (rule != nullptr) {
    return {ReplyOf(*rule, request), rule->name};
  }
  return refuseUnmatched_ ? Refuse(request) : Outcome{DefaultReply(request)};
}

Outcome Rules::Refuse(const Request& request) {
  // The nearest is of the same command and differs in the fewest fields.
  const Entry* nearest = nullptr;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const Entry& rule : rules_) {
    const std::size_t count = Differences(rule, request).size();
    if (rule.command == request.command && request.command != nullptr && count < fewest) {
      nearest = &rule;
      fewest = count;
    }
  }
  Outcome outcome{.reply = FrameReply(STATUS_FAILURE, "no rule of the script matches the request")};
  if (nearest != nullptr) {
    outcome.differences = Differences(*nearest, request);
    if (outcome.differences.empty()) {
      outcome.differences.emplace_back("it may reply no more");
    }
  }
  if (failure_.empty()) {
    failure_ = "no rule matches a request of " + CommandOf(request);
    failure_ += nearest != nullptr ? "; the nearest is " + nearest->name + ":\n" : "\n";
    for (const std::string& line : outcome.differences) {
      failure_ += "  " + line + "\n";
    }
    failure_ += "the request was:\n" + HexDump(request.Bytes());
  }
  return outcome;
}

std::string Rules::Failure() const {
  std::string failure = failure_;
  for (const Entry& rule : rules_) {
    const bool most = rule.mostUses && rule.uses > *rule.mostUses;
    if (most || rule.uses < rule.leastUses) {
      failure += rule.name + " replied to " + Times(rule.uses) + ", " +
                 (most ? "at most " + std::to_string(*rule.mostUses)
                       : "at least " + std::to_string(rule.leastUses)) +
                 " expected\n";
    }
  }
  return failure;
}

std::string Rules::Summary() const {
  std::string unused;
  for (const Entry& rule : rules_) {
    unused += rule.uses == 0 ? (unused.empty() ? "" : ", ") + rule.name : "";
  }
  return unused.empty() ? "" : "never used: " + unused;
}

}  // namespace standin
