// What the stand-in does about a request: data that the server carries out.

#ifndef STANDIN_SCRIPT_ANSWER_H
#define STANDIN_SCRIPT_ANSWER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/request.h"

namespace standin {

/// Bytes of a stream and the pause in front of them.
struct Chunk {
  std::chrono::milliseconds pause{0};
  std::string bytes = {};
};

struct Answer {
  enum class Kind {
    FRAME,    ///< a header and the payload
    STREAM,   ///< the chunks as they stand
    NOTHING,  ///< hangs up once the request is read
    CLOSE_BEFORE_READING,
    CLOSE_AFTER_HEADER,
    SILENCE,  ///< sends nothing and waits until the client hangs up
  };

  Kind kind = Kind::NOTHING;
  std::uint32_t status = 0;
  std::string payload = {};
  std::vector<Chunk> chunks = {};
  std::chrono::milliseconds delay{0};                 ///< before the first byte
  bool bytewise = false;                              ///< each byte by a send of its own
  std::optional<std::uint32_t> announcedLength = {};  ///< instead of the payload's
  std::optional<std::size_t> cutHeader = {};          ///< header bytes that are sent
  std::optional<std::size_t> cutPayload = {};         ///< payload bytes that are sent
};

[[nodiscard]] Answer FrameAnswer(std::uint32_t status, std::string payload);

/// All bytes of the frame, as cut and as wrong as the answer wants them.
[[nodiscard]] std::string FrameBytes(const Answer& answer);

/// The answer as a log line tells it.
[[nodiscard]] Json DescribeAnswer(const Answer& answer);

/// What the daemon of a healthy cluster would say.
[[nodiscard]] Answer PlausibleAnswer(const Request& request);

}  // namespace standin

#endif  // STANDIN_SCRIPT_ANSWER_H
