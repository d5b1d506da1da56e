// A script of rules: the first that matches the request replies to it.

#ifndef STANDIN_SCRIPT_RULES_H
#define STANDIN_SCRIPT_RULES_H

#include <functional>
#include <vector>

#include "script/entry.h"
#include "script/script.h"

namespace standin {

/// Requests that no rule matches get the default reply.
class Rules : public Script {
 public:
  explicit Rules(std::vector<Entry> rules);

  SharedReply AtConnect() override;
  SharedReply AtHeader(const Header& header) override;
  Outcome AtRequest(const Request& request) override;

 private:
  /// The first rule that `matches` is true for and that may still reply; counts it
  /// as used if it is of `type`, or of a type that waits for the request if none
  /// is given.
  const Entry* Take(std::optional<Reply::Type> type,
                    const std::function<bool(const Entry&)>& matches);

  std::vector<Entry> rules_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_RULES_H
