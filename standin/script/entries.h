// A script of entries: rules that may match in any order, or sequences of groups of them.

#ifndef STANDIN_SCRIPT_ENTRIES_H
#define STANDIN_SCRIPT_ENTRIES_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "script/entry.h"
#include "script/script.h"

namespace standin {

/// Entries whose requests may come in any order. The first that matches replies.
using Group = std::vector<Entry>;

/// Groups whose requests come one group after the other.
struct Sequence {
  std::vector<Group> groups = {};
  std::size_t current = 0;  ///< the group that replied last
};

/// What becomes of requests that no entry matches.
enum class Unmatched {
  REPLY,      ///< the default reply
  REFUSE,     ///< a refusal, and a failure
  REFUSE_ALL  ///< the same, and all later requests are refused
};

class Entries : public Script {
 public:
  /// Rules are one sequence of one group. `state`: the first one; empty: none.
  Entries(std::vector<Sequence> sequences, Unmatched unmatched, std::string state)
      : sequences_(std::move(sequences)), unmatched_(unmatched), memory_{std::move(state), {}} {}

  Outcome AtConnect() override;
  Outcome AtHeader(const Header& header) override;
  Outcome AtRequest(const Request& request) override;
  void AtFailure(const std::string& what) override;
  [[nodiscard]] std::string Failure() const override;
  [[nodiscard]] std::string Summary() const override;
  [[nodiscard]] std::string NeverReached() const override;

 private:
  /// An entry that may match next.
  struct Due {
    Entry* entry;
    Sequence* sequence;
    std::size_t group;
  };

  [[nodiscard]] std::vector<Due> AllDue();
  /// The first that holds and that `matches` is true for, or null.
  [[nodiscard]] const Due* FirstOf(const std::vector<Due>& due,
                                   const std::function<bool(const Entry&)>& matches) const;
  /// Counts the entry as used. `request`: where values are captured from, or null.
  Outcome Take(const Due& due, const Request* request);
  [[nodiscard]] static std::string CommandsOf(const std::vector<Due>& due);
  [[nodiscard]] Outcome Refuse(const std::vector<Due>& due, const Request& request);
  void ForEach(const std::function<void(const Entry&)>& visit) const;

  std::vector<Sequence> sequences_;
  Unmatched unmatched_;
  Memory memory_;
  std::string failure_;      ///< of the first request that was refused
  std::uint64_t taken_ = 0;  ///< requests that an entry has replied to
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_ENTRIES_H
