// A script that is a strict sequence: exactly these requests, in this order.

#ifndef STANDIN_SCRIPT_SEQUENCE_H
#define STANDIN_SCRIPT_SEQUENCE_H

#include <string>
#include <vector>

#include "script/entry.h"
#include "script/script.h"

namespace standin {

/// The first difference ends the comparison: all later requests are refused.
class Sequence : public Script {
 public:
  explicit Sequence(std::vector<Entry> entries);

  Outcome AtConnect() override;
  Outcome AtHeader(const Header& header) override;
  Outcome AtRequest(const Request& request) override;
  void AtFailure(const std::string& what) override;

  [[nodiscard]] std::string Failure() const override;
  [[nodiscard]] std::string Summary() const override;

 private:
  [[nodiscard]] bool NextIs(Reply::Type type) const;
  /// The entry that is due, as an early reply.
  [[nodiscard]] Outcome TakeNext();
  /// The differences between the request and the entry that is due.
  [[nodiscard]] std::vector<std::string> Compare(const Request& request) const;

  std::vector<Entry> entries_;
  std::size_t next_ = 0;
  std::string failure_;
};

}  // namespace standin

#endif  // STANDIN_SCRIPT_SEQUENCE_H
