// Decoding of both sides of a conversation.

#include "forward/decoder.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace standin {

std::optional<Header> ConversationDecoder::Collect(Side& side, std::string_view bytes) const {
  side.total += bytes.size();
  if (side.decoded || side.givenUp) {
    return std::nullopt;
  }
  side.bytes += bytes;
  if (side.bytes.size() < HEADER_SIZE) {
    return std::nullopt;
  }
  const Header header = DecodeHeader(side.bytes);
  if (header.length > maxPayload_) {
    side.givenUp = true;
    side.bytes.resize(HEADER_SIZE);
    return std::nullopt;
  }
  const std::size_t size = HEADER_SIZE + header.length;
  if (side.bytes.size() < size) {
    return std::nullopt;
  }
  side.bytes.resize(size);
  side.decoded = true;
  return header;
}

void ConversationDecoder::FromClient(std::string_view bytes) {
  const std::optional<Header> header = Collect(client_, bytes);
  if (header) {
    const Request request = DecodeRequest(*header, client_.bytes.substr(HEADER_SIZE));
    if (request.command != nullptr) {
      mode_ = ExpectedReply(request).mode;
    }
    if (recorder_ != nullptr) {
      recorder_->AddRequest(connection_, request);
    }
    more_.insert(more_.begin(), {"from", "client"});
    log_.WriteRequest(connection_, request, more_);
  }
}

void ConversationDecoder::FromDaemon(std::string_view bytes) {
  if (recorder_ != nullptr) {
    recorder_->AddReply(connection_, bytes);
  }
  if (IsStream()) {
    daemon_.total += bytes.size();
    const std::uint64_t most = std::min<std::uint64_t>(maxPayload_, log_.ShownSize());
    daemon_.bytes += bytes.substr(0, most - std::min<std::uint64_t>(most, daemon_.bytes.size()));
    return;
  }
  if (const std::optional<Header> header = Collect(daemon_, bytes)) {
    LogReply({{"from", "daemon"},
              {"type", "frame"},
              {"status", header->word},
              {"statusHex", "0x" + ToHex(daemon_.bytes.substr(0, sizeof header->word))},
              {"length", header->length}},
             std::string_view(daemon_.bytes).substr(HEADER_SIZE), header->length);
  }
}

void ConversationDecoder::LogReply(Object line, std::string_view text, std::uint64_t size) {
  log_.AddText(line, "text", text, size);
  log_.AddHex(line, daemon_.bytes);
  log_.Write(connection_, "reply", std::move(line));
}

void ConversationDecoder::LogNotDecoded(const Side& side, const char* from) {
  Object line = {{"from", from}};
  if (side.givenUp) {
    line.push_back({"length", DecodeHeader(side.bytes).length});
    line.push_back({"why", "payload over the limit, not decoded"});
  } else if (!side.decoded && side.total > 0) {
    line.push_back({"why", "ended before the frame was complete"});
  } else if (side.total > side.bytes.size()) {
    line.push_back({"why", "bytes after the frame"});
  } else {
    return;
  }
  line.push_back({"bytes", side.total});
  log_.AddHex(line, side.bytes);
  log_.Write(connection_, "not-decoded", std::move(line));
}

void ConversationDecoder::End(bool hungUp) {
  if (recorder_ != nullptr) {
    recorder_->End(connection_, !IsStream(), hungUp);
  }
  if (IsStream()) {
    LogReply({{"from", "daemon"}, {"type", "stream"}, {"bytes", daemon_.total}}, daemon_.bytes,
             daemon_.total);
  } else {
    LogNotDecoded(daemon_, "daemon");
  }
  LogNotDecoded(client_, "client");
  log_.Write(connection_, "end", {{"clientBytes", client_.total}, {"daemonBytes", daemon_.total}});
}

}  // namespace standin
