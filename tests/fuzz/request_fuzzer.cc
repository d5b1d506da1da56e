// Requests through the stand-in daemon's decoder: any payload is decoded, no byte of
// it is changed, and a script that wants just these fields matches this request. The
// first byte of an input is the code, the rest the payload.

#include <cstdint>
#include <string>
#include <string_view>

#include "contract/contract.h"
#include "core/frame.h"
#include "json/json.h"
#include "protocol/request.h"
#include "script/entry.h"
#include "script/reply.h"
#include "tests/fake/require.h"

namespace fuzz {
namespace {

/// The frame of a reply that is neither cut nor made to lie.
void CheckFrame(const standin::Reply& reply) {
  const std::string frame = standin::FrameBytes(reply);
  fake::Require(frame.size() >= standin::HEADER_SIZE, "a header");
  const standin::Header header = standin::DecodeHeader(frame);
  fake::Require(header.word == reply.status, "status of the reply");
  fake::Require(header.length == frame.size() - standin::HEADER_SIZE, "length of the reply");
}

void Check(std::uint32_t code, std::string_view payload) {
  const standin::Header header{.word = code, .length = static_cast<std::uint32_t>(payload.size())};
  const standin::Request request = standin::DecodeRequest(header, std::string(payload));
  fake::Require(request.Bytes() == standin::EncodeFrame(code, payload), "bytes of the request");
  fake::Require((request.command != nullptr) == (contract::Get().CommandOfCode(code) != nullptr),
                "the codes of the contract have a command");
  fake::Require(request.command != nullptr || !request.warnings.empty(),
                "a warning of an unknown code");

  // Texts that are no UTF-8 can be shown.
  (void)standin::ToJson(request.fields);

  standin::Entry entry;
  entry.command = request.command;
  for (const standin::Member& field : request.fields) {
    entry.fields.push_back({field.name, {.oneOf = {field.value}}});
  }
  fake::Require(standin::Differences(entry, request, {}).empty(),
                "a request is what its fields say");

  const standin::SharedReply reply = standin::DefaultReply(request);
  if (reply->type == standin::Reply::Type::FRAME) {
    CheckFrame(*reply);
  }
  (void)standin::DescribeReply(*reply);
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
