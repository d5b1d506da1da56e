// Where the server gets its replies from: the default ones, or the entries of a script.
// Asked in the order of the requests.

#ifndef STANDIN_SCRIPT_SCRIPT_H
#define STANDIN_SCRIPT_SCRIPT_H

#include <string>
#include <vector>

#include "script/reply.h"

namespace standin {

/// What is done about a request.
struct Outcome {
  SharedReply reply = nullptr;                ///< null: nothing is due yet
  std::string entry = {};                     ///< name of the entry that matched, or empty
  std::vector<std::string> differences = {};  ///< from what was expected
};

/// The script of a stand-in without one: default replies, nothing expected.
class Script {
 public:
  Script() = default;
  virtual ~Script() = default;
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

  /// A reply that does not wait for the request, if one is due.
  virtual Outcome AtConnect() { return {}; }
  /// A reply that does not wait for the payload, if one is due.
  virtual Outcome AtHeader(const Header& /*header*/) { return {}; }
  virtual Outcome AtRequest(const Request& request) { return {DefaultReply(request)}; }
  /// Reports a client that sent no complete request.
  virtual void AtFailure(const std::string& /*what*/) {}

  /// Once no more clients come: what was missing or different, empty if nothing.
  [[nodiscard]] virtual std::string Failure() const { return ""; }
  /// What can never match, a line for each entry; empty if nothing.
  [[nodiscard]] virtual std::string NeverReached() const { return ""; }
  /// One line for a person once no more clients come; may be empty.
  [[nodiscard]] virtual std::string Summary() const { return ""; }
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_SCRIPT_H
