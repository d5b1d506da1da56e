// What the stand-in does about a request: data that the server carries out.

#ifndef STANDIN_SCRIPT_REPLY_H
#define STANDIN_SCRIPT_REPLY_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "protocol/request.h"
#include "script/json_reader.h"

namespace standin {

/// Bytes of a stream and the pause before them.
struct Chunk {
  std::chrono::milliseconds pause{};
  std::string bytes = {};
};

struct Reply {
  enum class Type {
    FRAME,    ///< a header and the payload
    STREAM,   ///< the chunks as they stand
    NOTHING,  ///< hangs up once the request is read
    CLOSE_BEFORE_READING,
    CLOSE_AFTER_HEADER,
    SILENCE,  ///< sends nothing and waits until the client hangs up
  };

  Type type{};
  std::uint32_t status = 0;
  std::string payload = {};
  std::vector<Chunk> chunks = {};
  std::chrono::milliseconds delay{};  ///< before the first byte
  bool forward = false;               ///< to the daemon, whose own reply is changed
  bool keepStatus = false;            ///< of a forward: the daemon's
  bool keepPayload = false;
  bool byDefault = false;                             ///< the script has no other
  bool bytewise = false;                              ///< each byte by a send of its own
  std::optional<std::uint32_t> announcedLength = {};  ///< instead of the payload's
  std::optional<std::size_t> cutHeader = {};          ///< header bytes that are sent
  std::optional<std::size_t> cutPayload = {};         ///< payload bytes that are sent
};

/// One copy for all clients: a script's payload may be long. Null: no reply is due.
using SharedReply = std::shared_ptr<const Reply>;

/// Throws ScriptError.
[[nodiscard]] Reply ReadReply(const JsonReader& json);

/// What the daemon of a healthy cluster would say.
[[nodiscard]] SharedReply DefaultReply(const Request& request);

/// A frame with the status of a failure.
[[nodiscard]] SharedReply Refusal(std::string why);

/// All bytes of the frame, as cut and as wrong as the reply wants them.
[[nodiscard]] std::string FrameBytes(const Reply& reply);

/// The reply as a log line shows it.
[[nodiscard]] Object DescribeReply(const Reply& reply);

}  // namespace standin

#endif  // STANDIN_SCRIPT_REPLY_H
