// Frames with and without their faults, and how an answer is told.

#include "script/answer.h"

#include <utility>

namespace standin {

Answer FrameAnswer(std::uint32_t status, std::string payload) {
  return {.kind = Answer::Kind::FRAME, .status = status, .payload = std::move(payload)};
}

std::string FrameBytes(const Answer& answer) {
  const auto length = static_cast<std::uint32_t>(answer.payload.size());
  const std::string header =
      EncodeHeader({.word = answer.status, .length = answer.announcedLength.value_or(length)});
  if (answer.cutHeader) {
    return header.substr(0, *answer.cutHeader);
  }
  return header + answer.payload.substr(0, answer.cutPayload.value_or(std::string::npos));
}

Json DescribeAnswer(const Answer& answer) {
  Json told;
  switch (answer.kind) {
    case Answer::Kind::FRAME:
      told["kind"] = "frame";
      told["status"] = answer.status;
      told["length"] = answer.announcedLength.value_or(answer.payload.size());
      break;
    case Answer::Kind::STREAM: {
      std::size_t bytes = 0;
      for (const Chunk& chunk : answer.chunks) {
        bytes += chunk.bytes.size();
      }
      told["kind"] = "stream";
      told["bytes"] = bytes;
      break;
    }
    case Answer::Kind::NOTHING:
      told["kind"] = "nothing";
      break;
    case Answer::Kind::CLOSE_BEFORE_READING:
      told["kind"] = "close-before-reading";
      break;
    case Answer::Kind::CLOSE_AFTER_HEADER:
      told["kind"] = "close-after-header";
      break;
    case Answer::Kind::SILENCE:
      told["kind"] = "silence";
      break;
  }
  if (answer.cutHeader) {
    told["cutHeader"] = *answer.cutHeader;
  }
  if (answer.cutPayload) {
    told["cutPayload"] = *answer.cutPayload;
  }
  if (answer.delay.count() > 0) {
    told["delay"] = answer.delay.count();
  }
  if (answer.bytewise) {
    told["bytewise"] = true;
  }
  return told;
}

}  // namespace standin
