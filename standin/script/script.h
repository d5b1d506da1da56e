// Where the server gets its replies from: the entries of a script, which are rules that match
// in any order, or sequences of groups of them. Asked in the order of the requests.

#ifndef STANDIN_SCRIPT_SCRIPT_H
#define STANDIN_SCRIPT_SCRIPT_H

#include <functional>
#include <string>
#include <vector>

#include "script/entry.h"

namespace standin {

/// What is done about a request.
struct Outcome {
  SharedReply reply = nullptr;                ///< null: nothing is due yet
  std::string entry = {};                     ///< name of the entry that matched, or empty
  std::vector<std::string> differences = {};  ///< from what was expected
};

/// What becomes of requests that no entry matches.
enum class Unmatched {
  REPLY,      ///< the default reply
  REFUSE,     ///< a refusal, and a failure
  REFUSE_ALL  ///< the same, and all later requests are refused
};

class Script {
 public:
  /// The script of a stand-in without one: default replies, nothing expected.
  Script() = default;
  /// `entries`: those of a group are next to each other, so are those of a sequence. The
  /// requests of a group may come in any order: its first entry that matches replies. Groups
  /// come one after the other. Rules are one group. `state`: the first one; empty: none.
  Script(std::vector<Entry> entries, Unmatched unmatched, std::string state);

  /// A reply that does not wait for the request, if one is due.
  Outcome AtConnect();
  /// A reply that does not wait for the payload, if one is due.
  Outcome AtHeader(const Header& header);
  Outcome AtRequest(const Request& request);
  /// Reports a client that sent no complete request.
  void AtFailure(const std::string& what);

  /// Once no more clients come: what was missing or different, empty if nothing.
  [[nodiscard]] std::string Failure() const;
  /// One line for a person once no more clients come; may be empty.
  [[nodiscard]] std::string Summary() const;
  /// The entries that others before them leave no request, a line for each.
  [[nodiscard]] std::string NeverReached() const;
  /// What is wrong with an entry that needs a state that nothing sets, or a value that no
  /// entry can have captured before it; empty if there is none.
  [[nodiscard]] std::string NeverMatching() const;

 private:
  /// Whether the script was not followed, so that nothing of it is due any more.
  [[nodiscard]] bool IsOver() const {
    return unmatched_ == Unmatched::REFUSE_ALL && !failure_.empty();
  }
  /// Those that may match next.
  [[nodiscard]] std::vector<Entry*> AllDue();
  /// The first due one that holds and that `matches` is true for, or null.
  [[nodiscard]] Entry* FirstDue(const std::function<bool(const Entry&)>& matches);
  /// Counts the entry as used. `request`: where values are captured from, or null.
  Outcome Take(Entry& entry, const Request* request);
  [[nodiscard]] Outcome Refuse(const Request& request);
  [[nodiscard]] bool CanBeCaptured(const std::string& name, const Entry& before) const;

  std::vector<Entry> entries_;
  Unmatched unmatched_ = Unmatched::REPLY;
  Memory memory_;
  std::vector<std::size_t> current_;  ///< of each sequence: the group that replied last
  std::string failure_;               ///< of the first request that was refused
  std::uint64_t taken_ = 0;           ///< requests that an entry has replied to
};

/// Reads a script file. Throws ScriptError, which says where and why, for whatever the
/// installed schema refuses, and for what can never match.
[[nodiscard]] Script ReadScript(const std::string& path);

}  // namespace standin

#endif  // STANDIN_SCRIPT_SCRIPT_H
