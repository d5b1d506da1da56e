// Frames with and without their faults, and how a reply is logged.

#include "script/reply.h"

#include <utility>

namespace standin {
namespace {

const char* TextOf(Reply::Type type) {
  switch (type) {
    case Reply::Type::FRAME:
      return "frame";
    case Reply::Type::STREAM:
      return "stream";
    case Reply::Type::NOTHING:
      return "nothing";
    case Reply::Type::CLOSE_BEFORE_READING:
      return "close-before-reading";
    case Reply::Type::CLOSE_AFTER_HEADER:
      return "close-after-header";
    case Reply::Type::SILENCE:
      return "silence";
  }
  return "";
}

}  // namespace

SharedReply Refusal(std::string text) {
  return std::make_shared<Reply>(
      Reply{.type = Reply::Type::FRAME, .status = STATUS_FAILURE, .payload = std::move(text)});
}

std::string FrameBytes(const Reply& reply) {
  const auto length = static_cast<std::uint32_t>(reply.payload.size());
  const std::string header =
      EncodeHeader({.word = reply.status, .length = reply.announcedLength.value_or(length)});
  if (reply.cutHeader) {
    return header.substr(0, *reply.cutHeader);
  }
  return header + reply.payload.substr(0, reply.cutPayload.value_or(std::string::npos));
}

Object DescribeReply(const Reply& reply) {
  Object line = {{"type", reply.forward ? "forward" : TextOf(reply.type)}};
  if (reply.type == Reply::Type::FRAME && !reply.keepStatus) {
    line.push_back({"status", reply.status});
  }
  if (reply.type == Reply::Type::FRAME && (!reply.keepPayload || reply.announcedLength)) {
    line.push_back({"length", reply.announcedLength.value_or(reply.payload.size())});
  }
  if (reply.type == Reply::Type::STREAM) {
    std::size_t bytes = 0;
    for (const Chunk& chunk : reply.chunks) {
      bytes += chunk.bytes.size();
    }
    line.push_back({"bytes", bytes});
  }
  if (reply.cutHeader) {
    line.push_back({"cutHeader", *reply.cutHeader});
  }
  if (reply.cutPayload) {
    line.push_back({"cutPayload", *reply.cutPayload});
  }
  if (reply.delay.count() > 0) {
    line.push_back({"delay", static_cast<std::uint64_t>(reply.delay.count())});
  }
  if (reply.bytewise) {
    line.push_back({"bytewise", true});
  }
  return line;
}

}  // namespace standin
