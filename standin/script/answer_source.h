// Where the server gets its answers from: the plausible ones, a script's rules, or
// a script's strict sequence. Called from many threads at once.

#ifndef STANDIN_SCRIPT_ANSWER_SOURCE_H
#define STANDIN_SCRIPT_ANSWER_SOURCE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "script/answer.h"

namespace standin {

/// An answer, and in what way the request was not the expected one.
struct Verdict {
  Answer answer;
  std::vector<std::string> differences;
};

class AnswerSource {
 public:
  AnswerSource() = default;
  virtual ~AnswerSource() = default;
  AnswerSource(const AnswerSource&) = delete;
  AnswerSource& operator=(const AnswerSource&) = delete;

  /// An answer that does not wait for the request, if one is due.
  virtual std::optional<Answer> AtConnect() { return std::nullopt; }
  /// An answer that does not wait for the payload, if one is due.
  virtual std::optional<Answer> AtHeader(const Header& /*header*/) { return std::nullopt; }
  virtual Verdict AtRequest(const Request& request) { return {PlausibleAnswer(request), {}}; }
  /// Tells the source of a client that sent no complete request.
  virtual void AtFailure(const std::string& /*what*/) {}

  /// Whether a request differed from what was expected.
  [[nodiscard]] virtual bool HasFailed() const { return false; }
  /// Once no more clients come: what was missing or different, empty if nothing.
  [[nodiscard]] virtual std::string Failure() const { return ""; }
  /// One line for a person once no more clients come; may be empty.
  [[nodiscard]] virtual std::string Summary() const { return ""; }
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_ANSWER_SOURCE_H
