// A script that is a strict sequence: exactly these requests, in this order.

#ifndef STANDIN_SCRIPT_SEQUENCE_H
#define STANDIN_SCRIPT_SEQUENCE_H

#include <mutex>
#include <string>
#include <vector>

#include "script/answer_source.h"
#include "script/entry.h"

namespace standin {

/// The first difference ends the comparison: nothing after it has a meaning.
class Sequence : public AnswerSource {
 public:
  explicit Sequence(std::vector<Entry> entries);

  std::optional<Answer> AtConnect() override;
  std::optional<Answer> AtHeader(const Header& header) override;
  Verdict AtRequest(const Request& request) override;
  void AtFailure(const std::string& what) override;

  [[nodiscard]] bool HasFailed() const override;
  [[nodiscard]] std::string Failure() const override;
  [[nodiscard]] std::string Summary() const override;

 private:
  [[nodiscard]] bool NextIs(Answer::Kind kind) const;
  /// The differences between the request and the entry that is due.
  [[nodiscard]] std::vector<std::string> Compare(const Request& request) const;

  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::size_t next_ = 0;
  std::string failure_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_SEQUENCE_H
