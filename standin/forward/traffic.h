// Makes sense of the bytes that a relay sees go by. Only looks: it never touches
// what is relayed, and keeps no more of it than a limit.

#ifndef STANDIN_FORWARD_TRAFFIC_H
#define STANDIN_FORWARD_TRAFFIC_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "log/log.h"

namespace standin {

class Traffic {
 public:
  Traffic(Log& log, std::uint64_t connection, std::uint64_t maxPayload)
      : log_(log), connection_(connection), maxPayload_(maxPayload) {}

  void FromClient(std::string_view bytes);
  void FromDaemon(std::string_view bytes);
  /// Logs what is left over once both sides have ended.
  void End();

 private:
  /// One side of the conversation.
  struct Side {
    std::string bytes;        ///< kept for decoding
    std::uint64_t total = 0;  ///< relayed
    bool decoded = false;     ///< the frame was complete and is logged
    bool given_up = false;
  };

  /// Keeps `bytes` while the frame they belong to is incomplete and within the
  /// limit. The frame's header once it is complete.
  std::optional<Header> Collect(Side& side, std::string_view bytes) const;
  void LogReplyFrame(const Header& header);
  void LogStream();
  void LogLeftOver(const Side& side, const char* from);
  static void AddText(Json& line, std::string_view text);

  Log& log_;
  std::uint64_t connection_;
  std::uint64_t maxPayload_;
  Side client_;
  Side daemon_;
  std::optional<ReplyForm> form_;  ///< once the request is known
};

}  // namespace standin

#endif  // STANDIN_FORWARD_TRAFFIC_H
