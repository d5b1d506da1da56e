// One function for each type of reply: frame, stream, close, silence.

#include "script/reply_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <system_error>

#include "core/hex.h"

namespace standin {
namespace {

constexpr std::uint64_t MOST_WORD = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t MOST_MILLISECONDS = 86'400'000;
constexpr std::uintmax_t MOST_FILE_SIZE = 1U << 30U;

std::string FileBytes(const JsonReader& json) {
  const auto path = json.Folder() / json.Text();
  // Folders, FIFOs and devices have no size.
  std::error_code error;
  if (std::filesystem::file_size(path, error) > MOST_FILE_SIZE && !error) {
    json.Refuse("the file " + path.string() + " is longer than 1 GiB");
  }
  std::ifstream file;
  if (!error) {
    file.open(path, std::ios::binary);
  }
  if (!file.is_open()) {
    json.Refuse("cannot read the file " + path.string());
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string HexBytes(const JsonReader& json) {
  try {
    return FromHex(json.Text());
  } catch (const std::invalid_argument& error) {
    json.Refuse(error.what());
  }
}

/// The bytes that "text", "file" or "hex" stand for; empty if there is none.
std::string ReadBytes(const JsonReader& json) {
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
  return json.Has("hex") ? HexBytes(json.Member("hex")) : "";
}

std::chrono::milliseconds ReadTime(const JsonReader& json) {
  return std::chrono::milliseconds(json.Natural(0, MOST_MILLISECONDS));
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

void ReadBytewise(const JsonReader& json, Reply& reply) {
  if (json.Has("bytewise")) {
    reply.bytewise = json.Member("bytewise").Truth();
  }
}

Reply ReadFrame(const JsonReader& json) {
  json.OnlyMembers({"delay", "status", "text", "file", "hex", "length", "cutHeader", "cutPayload",
                    "bytewise", "forward"});
  Reply reply{.type = Reply::Type::FRAME, .payload = ReadBytes(json)};
  if (json.Has("forward")) {
    reply.forward = json.Member("forward").Truth();
    if (!reply.forward) {
      json.Member("forward").Refuse("must be true");
    }
    reply.keepStatus = !json.Has("status");
    reply.keepPayload = !json.Has("text") && !json.Has("file") && !json.Has("hex");
  }
  if (json.Has("status")) {
    reply.status = ReadStatus(json.Member("status"));
  }
  if (json.Has("length")) {
    reply.announcedLength = static_cast<std::uint32_t>(json.Member("length").Natural(0, MOST_WORD));
  }
  if (json.Has("cutHeader")) {
    reply.cutHeader = json.Member("cutHeader").Natural(0, HEADER_SIZE - 1);
  }
  if (json.Has("cutPayload")) {
    reply.cutPayload = json.Member("cutPayload").Natural(0, MOST_WORD);
  }
  ReadBytewise(json, reply);
  return reply;
}

Reply ReadStream(const JsonReader& json) {
  json.OnlyMembers({"delay", "stream", "bytewise"});
  Reply reply{.type = Reply::Type::STREAM};
  json.Member("stream").ForEachItem([&](const JsonReader& chunk) {
    chunk.OnlyMembers({"pause", "text", "file", "hex"});
    reply.chunks.push_back({.bytes = ReadBytes(chunk)});
    if (chunk.Has("pause")) {
      reply.chunks.back().pause = ReadTime(chunk.Member("pause"));
    }
  });
  ReadBytewise(json, reply);
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
  if (!json.Member("silent").Truth()) {
    json.Member("silent").Refuse("must be true");
  }
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

}  // namespace

Reply ReadReply(const JsonReader& json) {
  Reply reply = ReadType(json);
  if (json.Has("delay")) {
    reply.delay = ReadTime(json.Member("delay"));
  }
  return reply;
}

}  // namespace standin
