// Decoding of both sides of a relayed conversation.

#include "forward/traffic.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace standin {
namespace {

/// As much of a reply's text as a log line shows.
constexpr std::size_t SHOWN_TEXT = 4096;

std::string HexWord(std::uint32_t word) {
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), "0x%08x", word);
  return text.data();
}

}  // namespace

std::optional<Header> Traffic::Collect(Side& side, std::string_view bytes) const {
  side.total += bytes.size();
  if (side.decoded || side.given_up) {
    return std::nullopt;
  }
  side.bytes += bytes;
  if (side.bytes.size() < HEADER_SIZE) {
    return std::nullopt;
  }
  const Header header = DecodeHeader(side.bytes);
  if (header.length > maxPayload_) {
    side.given_up = true;
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

void Traffic::FromClient(std::string_view bytes) {
  const std::optional<Header> header = Collect(client_, bytes);
  if (header) {
    const Request request = DecodeRequest(*header, client_.bytes.substr(HEADER_SIZE));
    form_ = ReplyFormOf(request);
    log_.WriteRequest(connection_, request, {{"from", "client"}});
  }
}

void Traffic::FromDaemon(std::string_view bytes) {
  if (form_ == ReplyForm::STREAM) {
    daemon_.total += bytes.size();
    const std::size_t room =
        maxPayload_ - std::min<std::uint64_t>(maxPayload_, daemon_.bytes.size());
    daemon_.bytes += bytes.substr(0, room);
    return;
  }
  const std::optional<Header> header = Collect(daemon_, bytes);
  if (header) {
    LogReplyFrame(*header);
  }
}

void Traffic::AddText(Json& line, std::string_view text) {
  line["text"] = text.substr(0, SHOWN_TEXT);
  if (text.size() > SHOWN_TEXT) {
    line["textCut"] = true;
  }
}

void Traffic::LogReplyFrame(const Header& header) {
  Json line = {{"from", "daemon"},
               {"kind", "frame"},
               {"status", header.word},
               {"statusHex", HexWord(header.word)},
               {"length", header.length}};
  AddText(line, std::string_view(daemon_.bytes).substr(HEADER_SIZE));
  log_.AddHex(line, daemon_.bytes);
  log_.Write(connection_, "reply", line);
}

void Traffic::LogStream() {
  Json line = {{"from", "daemon"}, {"kind", "stream"}, {"bytes", daemon_.total}};
  AddText(line, daemon_.bytes);
  log_.AddHex(line, daemon_.bytes);
  log_.Write(connection_, "reply", line);
}

void Traffic::LogLeftOver(const Side& side, const char* from) {
  Json line = {{"from", from}};
  if (side.given_up) {
    const Header header = DecodeHeader(side.bytes);
    line["length"] = header.length;
    line["why"] = "payload over the limit, not decoded";
  } else if (!side.decoded && side.total > 0) {
    line["why"] = "ended before the frame was complete";
  } else if (side.total > side.bytes.size()) {
    line["why"] = "bytes behind the frame";
  } else {
    return;
  }
  line["bytes"] = side.total;
  log_.AddHex(line, side.bytes);
  log_.Write(connection_, "not-decoded", line);
}

void Traffic::End() {
  if (form_ == ReplyForm::STREAM) {
    LogStream();
  } else {
    LogLeftOver(daemon_, "daemon");
  }
  LogLeftOver(client_, "client");
  log_.Write(connection_, "end", {{"clientBytes", client_.total}, {"daemonBytes", daemon_.total}});
}

}  // namespace standin
