// A script of rules: the first that means the request answers it.

#ifndef STANDIN_SCRIPT_RULES_H
#define STANDIN_SCRIPT_RULES_H

#include <functional>
#include <mutex>
#include <vector>

#include "script/answer_source.h"
#include "script/entry.h"

namespace standin {

/// Requests that no rule means get the plausible answer.
class Rules : public AnswerSource {
 public:
  explicit Rules(std::vector<Entry> rules);

  std::optional<Answer> AtConnect() override;
  std::optional<Answer> AtHeader(const Header& header) override;
  Verdict AtRequest(const Request& request) override;

 private:
  /// The first rule that `means` is true for and that may still answer; counts it
  /// as used if it is of `kind`, or of a kind that waits for the request if none
  /// is given.
  const Entry* Take(std::optional<Answer::Kind> kind,
                    const std::function<bool(const Entry&)>& means);

  std::mutex mutex_;
  std::vector<Entry> rules_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_RULES_H
