// A request as the daemon reads it: its command and every field by name.

#ifndef STANDIN_PROTOCOL_REQUEST_H
#define STANDIN_PROTOCOL_REQUEST_H

#include <string>
#include <vector>

#include "contract/contract.h"
#include "core/frame.h"
#include "json/json.h"

namespace standin {

struct Request {
  Header header = {};
  std::string payload = {};
  const contract::Command* command = nullptr;  ///< null: no command has this code
  /// Name to value, in the contract's order; what a short payload lacks is absent.
  Object fields = {};
  /// What a well-behaved client would not have sent, in words.
  std::vector<std::string> warnings = {};

  [[nodiscard]] std::string Bytes() const { return EncodeHeader(header) + payload; }
};

/// Decodes any payload: what does not fit the contract is reported in the warnings.
[[nodiscard]] Request DecodeRequest(const Header& header, std::string payload);

/// What the contract says of the reply to `request`, whose command is known.
[[nodiscard]] const contract::Reply& ExpectedReply(const Request& request);

}  // namespace standin

#endif  // STANDIN_PROTOCOL_REQUEST_H
