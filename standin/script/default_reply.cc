// The replies of a stand-in without a script, as the contract has them.

#include <string>
#include <utility>

#include "json/json.h"
#include "script/reply.h"

namespace standin {
namespace {

std::string PrintedText(const contract::Reply& expected, const Request& request) {
  std::string text = "{";
  for (const contract::ReplyMember& member : expected.members) {
    const Value* const repeated = Find(request.fields, member.field);
    if (!member.field.empty() && repeated == nullptr) {
      continue;
    }
    text += (text.size() > 1 ? "," : "") + ToJson(member.name) + ":" +
            (repeated != nullptr ? ToJson(*repeated) : member.json);
  }
  return text + "}";
}

}  // namespace

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

}  // namespace standin
