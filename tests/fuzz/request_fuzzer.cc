// Requests through the stand-in daemon's decoder: any payload is decoded, no byte of
// it is changed, and a script that wants just these fields means this request. The
// first byte of an input is the code, the rest the payload.

#include <cstdint>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "fuzz/containment.h"
#include "protocol/request.h"
#include "script/answer.h"
#include "script/entry.h"

namespace fuzz {
namespace {

/// The frame of an answer that is neither cut nor told to lie.
void CheckFrame(const standin::Answer& answer) {
  const std::string frame = standin::FrameBytes(answer);
  Require(frame.size() >= standin::HEADER_SIZE, "a header");
  const standin::Header header = standin::DecodeHeader(frame);
  Require(header.word == answer.status, "status of the answer");
  Require(header.length == frame.size() - standin::HEADER_SIZE, "length of the answer");
}

void Check(std::uint32_t code, std::string_view payload) {
  const standin::Header header{.word = code, .length = static_cast<std::uint32_t>(payload.size())};
  const standin::Request request = standin::DecodeRequest(header, std::string(payload));
  Require(request.Bytes() == standin::EncodeFrame(code, payload), "bytes of the request");
  Require((request.command != nullptr) == (code >= 1 && code <= 37), "37 codes have a command");
  Require(request.command != nullptr || !request.remarks.empty(), "a remark on an unknown code");

  // Texts that are no UTF-8 can be shown.
  (void)request.fields.dump(-1, ' ', false, standin::Json::error_handler_t::replace);

  standin::Entry entry;
  entry.command = request.command;
  entry.fields = request.fields;
  Require(standin::Differences(entry, request).empty(), "a request is what its fields say");

  const standin::Answer answer = standin::PlausibleAnswer(request);
  if (answer.kind == standin::Answer::Kind::FRAME) {
    CheckFrame(answer);
  }
  (void)standin::DescribeAnswer(answer);
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return -1;
  }
  fuzz::Check(data[0], {reinterpret_cast<const char*>(data) + 1, size - 1});
  return 0;
}
