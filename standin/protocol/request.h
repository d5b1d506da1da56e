// A request as the daemon reads it: its command and every field by name.

#ifndef STANDIN_PROTOCOL_REQUEST_H
#define STANDIN_PROTOCOL_REQUEST_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/frame.h"
#include "protocol/commands.h"

namespace standin {

using Json = nlohmann::ordered_json;

struct Request {
  Header header = {};
  std::string payload = {};
  const CommandInfo* command = nullptr;  ///< null: no command has this code
  /// Name to value, in the order of the payload; what a short payload lacks is
  /// absent.
  Json fields = Json::object();
  /// What a well-behaved client would not have sent, in words.
  std::vector<std::string> remarks = {};

  [[nodiscard]] std::string Bytes() const { return EncodeHeader(header) + payload; }
};

/// Decodes any payload whatever: what does not fit the command's layout is told in
/// the remarks.
[[nodiscard]] Request DecodeRequest(const Header& header, std::string payload);

/// How the client expects to be answered; a frame if the command is unknown.
[[nodiscard]] ReplyForm ReplyFormOf(const Request& request);

}  // namespace standin

#endif  // STANDIN_PROTOCOL_REQUEST_H
