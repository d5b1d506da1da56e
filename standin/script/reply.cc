// One function for each type of reply: as a script states it, by default, and as bytes.

#include "script/reply.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <system_error>
#include <utility>

#include "core/text.h"

namespace standin {
namespace {

constexpr std::uint32_t STATUS_FAILURE = 0x0bad0001;
constexpr std::uint64_t MOST_WORD = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t MOST_MILLISECONDS = 86'400'000;
constexpr std::uintmax_t MOST_FILE_SIZE = 128U << 20U;

std::string FileBytes(const JsonReader& json) {
  const auto path = json.Folder() / json.Text();
  // Folders, FIFOs and devices have no size.
  std::error_code error;
  if (std::filesystem::file_size(path, error) > MOST_FILE_SIZE && !error) {
    json.Refuse("the file " + path.string() + " is longer than 128 MiB");
  }
  std::ifstream file;
  if (!error) {
    file.open(path, std::ios::binary);
  }
  if (!file.is_open()) {
    json.Refuse("cannot read the file " + path.string());
  }
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return std::move(bytes).str();
}

std::string HexBytes(const JsonReader& json) {
  try {
    return FromHex(json.Text());
  } catch (const std::invalid_argument& error) {
    json.Refuse(error.what());
  }
}

/// The bytes that "text", "file" or "hex" stand for.
std::optional<std::string> ReadBytes(const JsonReader& json) {
  const std::array<bool, 3> given = {json.Has("text"), json.Has("file"), json.Has("hex")};
  if (std::count(given.begin(), given.end(), true) > 1) {
    json.Refuse("only one of text, file and hex");
  }
  if (json.Has("text")) {
    return json.Member("text").Text();
  }
  if (json.Has("file")) {
    return FileBytes(json.Member("file"));
  }
  return json.Has("hex") ? std::optional(HexBytes(json.Member("hex"))) : std::nullopt;
}

/// None if there is no such member.
std::chrono::milliseconds ReadTime(const JsonReader& json, const char* member) {
  return std::chrono::milliseconds(json.NaturalIn(member, 0, MOST_MILLISECONDS).value_or(0));
}

/// A number, or 0x and up to eight hexadecimal digits.
std::uint32_t ReadStatus(const JsonReader& json) {
  if (json.Get().As<std::string>() == nullptr) {
    return static_cast<std::uint32_t>(json.Natural(0, MOST_WORD));
  }
  const std::string& text = json.Text();
  std::uint32_t status = 0;
  const char* const end = text.data() + text.size();
  if (text.size() < 3 || text.size() > 10 || text.compare(0, 2, "0x") != 0 ||
      std::from_chars(text.data() + 2, end, status, 16).ptr != end) {
    json.Refuse("must be 0x and one to eight hexadecimal digits");
  }
  return status;
}

Reply ReadFrame(const JsonReader& json) {
  json.OnlyMembers({"delay", "status", "text", "file", "hex", "length", "cutHeader", "cutPayload",
                    "bytewise", "forward"});
  std::optional<std::string> payload = ReadBytes(json);
  const bool forward = json.IsSet("forward");
  const bool keepPayload = forward && !payload;
  return {.type = Reply::Type::FRAME,
          .status = json.Has("status") ? ReadStatus(json.Member("status")) : 0,
          .payload = std::move(payload).value_or(std::string()),
          .forward = forward,
          .keepStatus = forward && !json.Has("status"),
          .keepPayload = keepPayload,
          .bytewise = json.TruthIn("bytewise"),
          .announcedLength = json.NaturalIn("length", 0, MOST_WORD),
          .cutHeader = json.NaturalIn("cutHeader", 0, HEADER_SIZE - 1),
          .cutPayload = json.NaturalIn("cutPayload", 0, MOST_WORD)};
}

Reply ReadStream(const JsonReader& json) {
  json.OnlyMembers({"delay", "stream", "bytewise"});
  Reply reply{.type = Reply::Type::STREAM, .bytewise = json.TruthIn("bytewise")};
  json.Member("stream").ForEachItem([&](const JsonReader& chunk) {
    chunk.OnlyMembers({"pause", "text", "file", "hex"});
    reply.chunks.push_back(
        {.pause = ReadTime(chunk, "pause"), .bytes = ReadBytes(chunk).value_or(std::string())});
  });
  return reply;
}

Reply ReadClose(const JsonReader& json) {
  json.OnlyMembers({"delay", "close"});
  const JsonReader when = json.Member("close");
  const std::string& word = when.Text();
  if (word == "before-reading") {
    return {.type = Reply::Type::CLOSE_BEFORE_READING};
  }
  if (word == "after-header") {
    return {.type = Reply::Type::CLOSE_AFTER_HEADER};
  }
  if (word == "after-request") {
    return {.type = Reply::Type::NOTHING};
  }
  when.Refuse("must be before-reading, after-header or after-request");
}

Reply ReadSilence(const JsonReader& json) {
  json.OnlyMembers({"silent"});
  (void)json.IsSet("silent");
  return {.type = Reply::Type::SILENCE};
}

Reply ReadType(const JsonReader& json) {
  if (json.Has("close")) {
    return ReadClose(json);
  }
  if (json.Has("silent")) {
    return ReadSilence(json);
  }
  return json.Has("stream") ? ReadStream(json) : ReadFrame(json);
}

std::string PrintedText(const contract::Reply& expected, const Request& request) {
  std::string text = "{";
  for (const contract::ReplyMember& member : expected.members) {
    const Value* const repeated = Find(request.fields, member.field);
    if (member.field.empty() || repeated != nullptr) {
      text += (text.size() > 1 ? "," : "") + ToJson(member.name) + ":" +
              (repeated != nullptr ? ToJson(*repeated) : member.json);
    }
  }
  return text + "}";
}

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
  __builtin_unreachable();
}

}  // namespace

Reply ReadReply(const JsonReader& json) {
  Reply reply = ReadType(json);
  reply.delay = ReadTime(json, "delay");
  return reply;
}

SharedReply DefaultReply(const Request& request) {
  Reply reply{.type = Reply::Type::FRAME, .byDefault = true};
  if (request.command == nullptr) {
    reply.status = STATUS_FAILURE;
    reply.payload = "no such command";
    return std::make_shared<Reply>(std::move(reply));
  }
  const contract::Reply& expected = ExpectedReply(request);
  switch (expected.mode) {
    case contract::ReplyMode::STREAM:
      reply.type = Reply::Type::STREAM;
      for (const std::string& piece : expected.pieces) {
        reply.chunks.push_back({.bytes = piece});
      }
      break;
    case contract::ReplyMode::PRINT:
      reply.payload = PrintedText(expected, request);
      break;
    case contract::ReplyMode::SILENT:
      break;
    case contract::ReplyMode::NONE:
      reply.type = Reply::Type::NOTHING;
      break;
  }
  return std::make_shared<Reply>(std::move(reply));
}

SharedReply Refusal(std::string why) {
  return std::make_shared<Reply>(
      Reply{.type = Reply::Type::FRAME, .status = STATUS_FAILURE, .payload = std::move(why)});
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
