// Decodes the bytes that a proxy passes on. It changes none of them, and keeps no more of
// them than a limit.

#ifndef STANDIN_FORWARD_DECODER_H
#define STANDIN_FORWARD_DECODER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "forward/recorder.h"
#include "log/log.h"

namespace standin {

class ConversationDecoder {
 public:
  /// `recorder`: null: none. `more`: for the line of the request.
  ConversationDecoder(Log& log, Recorder* recorder, std::uint64_t connection,
                      std::uint64_t maxPayload, Object more)
      : log_(log),
        recorder_(recorder),
        connection_(connection),
        maxPayload_(maxPayload),
        more_(std::move(more)) {}

  void FromClient(std::string_view bytes);
  void FromDaemon(std::string_view bytes);
  /// Logs what has not been logged once both sides have ended. `hungUp`: the daemon has
  /// hung up before the client.
  void End(bool hungUp);

  [[nodiscard]] bool IsStream() const { return mode_ == contract::ReplyMode::STREAM; }
  /// Whether a whole frame has come from the daemon.
  [[nodiscard]] bool HasFrame() const { return daemon_.decoded; }
  /// Whether the client waits for a reply that has not come whole.
  [[nodiscard]] bool AwaitsReply() const {
    return client_.decoded && !daemon_.decoded && mode_ != contract::ReplyMode::NONE;
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
  /// `text`: what has been kept of `size` bytes.
  void LogReply(Object line, std::string_view text, std::uint64_t size);
  void LogNotDecoded(const Side& side, const char* from);

  Log& log_;
  Recorder* recorder_;
  std::uint64_t connection_;
  std::uint64_t maxPayload_;
  Object more_;
  Side client_;
  Side daemon_;
  std::optional<contract::ReplyMode> mode_;  ///< of a known request, once it has come
};

}  // namespace standin

#endif  // STANDIN_FORWARD_DECODER_H
