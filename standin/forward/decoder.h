// Decodes the bytes that a proxy passes on. It changes none of them, and keeps no more of
// them than a limit.

#ifndef STANDIN_FORWARD_DECODER_H
#define STANDIN_FORWARD_DECODER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "log/log.h"

namespace standin {

class ConversationDecoder {
 public:
  ConversationDecoder(Log& log, std::uint64_t connection, std::uint64_t maxPayload)
      : log_(log), connection_(connection), maxPayload_(maxPayload) {}

  void FromClient(std::string_view bytes);
  void FromDaemon(std::string_view bytes);
  /// Logs what has not been logged once both sides have ended.
  void End();

  /// Whether the client waits for a reply that has not come whole.
  [[nodiscard]] bool AwaitsReply() const {
    return client_.decoded && !daemon_.decoded && mode_ && mode_ != contract::ReplyMode::NONE;
  }

 private:
  /// One side of the conversation.
  struct Side {
    std::string bytes;        ///< kept for decoding
    std::uint64_t total = 0;  ///< passed on
    bool decoded = false;     ///< the frame was complete and is logged
    bool givenUp = false;
  };

  /// Keeps `bytes` while the frame they belong to is incomplete and within the
  /// limit. The frame's header once it is complete.
  std::optional<Header> Collect(Side& side, std::string_view bytes) const;
  void LogReplyFrame(const Header& header);
  void LogStream();
  void LogNotDecoded(const Side& side, const char* from);

  Log& log_;
  std::uint64_t connection_;
  std::uint64_t maxPayload_;
  Side client_;
  Side daemon_;
  std::optional<contract::ReplyMode> mode_;  ///< once the request is known
};

}  // namespace standin

#endif  // STANDIN_FORWARD_DECODER_H
