// One function for each form of an answer: frame, stream, close, silence.

#include "script/answer_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>

#include "core/hex.h"

namespace standin {
namespace {

constexpr std::uint64_t MOST_WORD = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t MOST_MILLISECONDS = 86'400'000;

std::string FileBytes(const JsonReader& json) {
  const auto path = json.Folder() / json.Text();
  std::ifstream file(path, std::ios::binary);
  try {
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (file) {
      return bytes;
    }
  } catch (const std::ios_base::failure&) {
    // A folder can be opened, but not read.
  }
  json.Refuse("cannot read the file " + path.string());
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
  if (!json.Value().is_string()) {
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

void ReadBytewise(const JsonReader& json, Answer& answer) {
  if (json.Has("bytewise")) {
    const JsonReader member = json.Member("bytewise");
    if (!member.Value().is_boolean()) {
      member.Refuse("must be true or false");
    }
    answer.bytewise = member.Value().get<bool>();
  }
}

Answer ReadFrame(const JsonReader& json) {
  json.OnlyMembers(
      {"delay", "status", "text", "file", "hex", "length", "cutHeader", "cutPayload", "bytewise"});
  Answer answer = FrameAnswer(0, ReadBytes(json));
  if (json.Has("status")) {
    answer.status = ReadStatus(json.Member("status"));
  }
  if (json.Has("length")) {
    answer.announcedLength =
        static_cast<std::uint32_t>(json.Member("length").Natural(0, MOST_WORD));
  }
  if (json.Has("cutHeader")) {
    answer.cutHeader = json.Member("cutHeader").Natural(0, HEADER_SIZE - 1);
  }
  if (json.Has("cutPayload")) {
    answer.cutPayload = json.Member("cutPayload").Natural(0, MOST_WORD);
  }
  ReadBytewise(json, answer);
  return answer;
}

Answer ReadStream(const JsonReader& json) {
  json.OnlyMembers({"delay", "stream", "bytewise"});
  Answer answer{.kind = Answer::Kind::STREAM};
  json.Member("stream").ForEachItem([&](const JsonReader& chunk) {
    chunk.OnlyMembers({"pause", "text", "file", "hex"});
    answer.chunks.push_back({.bytes = ReadBytes(chunk)});
    if (chunk.Has("pause")) {
      answer.chunks.back().pause = ReadTime(chunk.Member("pause"));
    }
  });
  ReadBytewise(json, answer);
  return answer;
}

Answer ReadClose(const JsonReader& json) {
  json.OnlyMembers({"delay", "close"});
  const JsonReader when = json.Member("close");
  const std::string& word = when.Text();
  if (word == "before-reading") {
    return {.kind = Answer::Kind::CLOSE_BEFORE_READING};
  }
  if (word == "after-header") {
    return {.kind = Answer::Kind::CLOSE_AFTER_HEADER};
  }
  if (word == "after-request") {
    return {.kind = Answer::Kind::NOTHING};
  }
  when.Refuse("must be before-reading, after-header or after-request");
}

Answer ReadSilence(const JsonReader& json) {
  json.OnlyMembers({"silent"});
  if (json.Member("silent").Value() != true) {
    json.Member("silent").Refuse("must be true");
  }
  return {.kind = Answer::Kind::SILENCE};
}

Answer ReadForm(const JsonReader& json) {
  if (json.Has("close")) {
    return ReadClose(json);
  }
  if (json.Has("silent")) {
    return ReadSilence(json);
  }
  return json.Has("stream") ? ReadStream(json) : ReadFrame(json);
}

}  // namespace

Answer ReadAnswer(const JsonReader& json) {
  Answer answer = ReadForm(json);
  if (json.Has("delay")) {
    answer.delay = ReadTime(json.Member("delay"));
  }
  return answer;
}

}  // namespace standin
