// A script of rules: the first that matches the request replies to it.

#ifndef STANDIN_SCRIPT_RULES_H
#define STANDIN_SCRIPT_RULES_H

#include <functional>
#include <vector>

#include "script/entry.h"
#include "script/script.h"

namespace standin {

class Rules : public Script {
 public:
  /// `refuseUnmatched`: requests that no rule matches are refused and a failure; else they
  /// get the default reply.
  Rules(std::vector<Entry> rules, bool refuseUnmatched)
      : rules_(std::move(rules)), refuseUnmatched_(refuseUnmatched) {}

  Outcome AtConnect() override;
  Outcome AtHeader(const Header& header) override;
  Outcome AtRequest(const Request& request) override;
  [[nodiscard]] std::string Failure() const override;
  [[nodiscard]] std::string Summary() const override;

 private:
  /// The first rule that `matches` is true for and that may still reply; counts it
  /// as used if it is of `type`, or of a type that waits for the request if none
  /// is given.
  const Entry* Take(std::optional<Reply::Type> type,
                    const std::function<bool(const Entry&)>& matches);
  [[nodiscard]] Outcome Refuse(const Request& request);

  std::vector<Entry> rules_;
  bool refuseUnmatched_;
  std::string failure_;  ///< of the first request that was refused
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_RULES_H
