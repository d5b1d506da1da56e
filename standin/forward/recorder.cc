// The entries, and the shortest form of reply that gives the same bytes.

#include "forward/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "core/text.h"
#include "json/json.h"

namespace standin {
namespace {

/// Twice as much in hexadecimal digits is what a script may have.
constexpr std::size_t MOST_RECORDED = 24U << 20U;

/// Whether JSON text gives the value back: bytes that are no UTF-8 it does not.
bool IsSayable(const Value& value) { return ParseJson(ToJson(value)) == value; }

Member Bytes(std::string_view bytes) {
  return IsSayable(bytes) ? Member{"text", bytes} : Member{"hex", ToHex(bytes)};
}

Object RecordedReply(std::string_view bytes, bool framed, bool hungUp) {
  if (bytes.empty()) {
    return hungUp ? Object{{"close", "after-request"}} : Object{{"silent", true}};
  }
  const Header header = bytes.size() >= HEADER_SIZE ? DecodeHeader(bytes) : Header{};
  // Less than a header is more than any length.
  const std::size_t arrived = bytes.size() - HEADER_SIZE;
  if (!framed || arrived > header.length) {
    return {{"stream", List{Object{Bytes(bytes)}}}};
  }
  Object reply = {{"status", header.word}, Bytes(bytes.substr(HEADER_SIZE))};
  if (arrived < header.length) {
    reply.push_back({"length", header.length});
  }
  return reply;
}

}  // namespace

Recorder::Recorder(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC,
                 0600)) {
  if (!file_.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "record " + path);
  }
}

void Recorder::AddRequest(std::uint64_t connection, const Request& request) {
  Object entry;
  if (request.command != nullptr) {
    entry.push_back({"command", request.command->word});
    Object fields;
    for (const Member& field : request.fields) {
      if (IsSayable(field.value)) {
        fields.push_back(field);
      }
    }
    // Odd fields are not always such as a script may have.
    if (!fields.empty() && request.warnings.empty()) {
      entry.push_back({"fields", std::move(fields)});
    }
  }
  exchanges_[connection].entry = std::move(entry);
}

void Recorder::AddReply(std::uint64_t connection, std::string_view bytes) {
  const auto found = exchanges_.find(connection);
  if (found == exchanges_.end()) {
    return;
  }
  size_ += bytes.size();
  if (size_ <= MOST_RECORDED) {
    found->second.reply += bytes;
  } else {
    exchanges_.erase(found);
    ++lost_;
  }
}

void Recorder::End(std::uint64_t connection, bool framed, bool hungUp) {
  const auto found = exchanges_.find(connection);
  if (found != exchanges_.end()) {
    found->second.entry.push_back({"reply", RecordedReply(found->second.reply, framed, hungUp)});
  }
}

std::string Recorder::Write() {
  std::string text = "{\"sequence\": [";
  const char* separator = "\n";
  for (const auto& [connection, exchange] : exchanges_) {
    text += separator + ToJson(exchange.entry);
    separator = ",\n";
  }
  text += "\n]}\n";
  for (std::string_view left = text; !left.empty();) {
    const ssize_t count = write(file_.Get(), left.data(), left.size());
    if (count == -1) {
      throw std::system_error(errno, std::generic_category(), "the record cannot be written");
    }
    left.remove_prefix(static_cast<std::size_t>(count));
  }
  return lost_ == 0 ? ""
                    : std::to_string(lost_) + " exchanges are not in the record: too many bytes";
}

}  // namespace standin
