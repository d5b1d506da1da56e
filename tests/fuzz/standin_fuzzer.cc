// Bytes through the stand-in daemon, twice: as a file through its script reader, and as a request,
// the first byte its code and the rest its payload, through its decoder. A script is taken, or
// what is wrong with it is said; one that is taken has a reply to every request. Any request is
// decoded, no byte of it is changed, and a script that wants just its fields matches it.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "contract/contract.h"
#include "core/frame.h"
#include "json/json.h"
#include "protocol/request.h"
#include "script/entry.h"
#include "script/reply.h"
#include "script/script.h"
#include "tests/fake/require.h"

namespace fuzz {
namespace {

using fake::Require;

standin::Request Decoded(std::uint32_t code, const std::string& payload) {
  return standin::DecodeRequest({code, static_cast<std::uint32_t>(payload.size())}, payload);
}

void CheckRequest(std::uint32_t code, const std::string& payload) {
  const standin::Request request = Decoded(code, payload);
  Require(request.Bytes() == standin::EncodeFrame(code, payload), "bytes of the request");
  Require((request.command != nullptr) == (contract::Get().CommandOfCode(code) != nullptr),
          "the codes of the contract have a command");
  Require(request.command != nullptr || !request.warnings.empty(), "a warning of an unknown code");

  // Texts that are no UTF-8 can be shown.
  (void)standin::ToJson(request.fields);

  standin::Entry entry;
  entry.command = request.command;
  for (const standin::Member& field : request.fields) {
    entry.fields.push_back({field.name, {.oneOf = {field.value}}});
  }
  Require(standin::Differences(entry, request, {}).empty(), "a request is what its fields say");

  // A reply that is neither cut nor made to lie.
  const standin::SharedReply reply = standin::DefaultReply(request);
  if (reply->type == standin::Reply::Type::FRAME) {
    const std::string frame = standin::FrameBytes(*reply);
    Require(frame.size() >= standin::HEADER_SIZE, "a header");
    const standin::Header header = standin::DecodeHeader(frame);
    Require(header.word == reply->status, "status of the reply");
    Require(header.length == frame.size() - standin::HEADER_SIZE, "length of the reply");
  }
  (void)standin::DescribeReply(*reply);
}

/// Requests that no script has seen before: every command, well-formed or not.
void Ask(standin::Script& script, std::uint32_t code) {
  const standin::Request request = Decoded(code, std::string(36, '0'));
  (void)script.AtConnect();
  (void)script.AtHeader({code, 36});
  const standin::Outcome outcome = script.AtRequest(request);
  Require(!script.Failure().empty() || outcome.differences.empty(), "a difference is a failure");
  if (outcome.reply->type == standin::Reply::Type::FRAME) {
    const std::string frame = standin::FrameBytes(*outcome.reply);
    Require(frame.size() <= standin::HEADER_SIZE + outcome.reply->payload.size(),
            "a reply has no bytes but its own");
  }
  (void)standin::ToJson(standin::DescribeReply(*outcome.reply));
}

void CheckScript(std::string_view script) {
  const int fd = memfd_create("script", MFD_CLOEXEC);
  Require(write(fd, script.data(), script.size()) == static_cast<ssize_t>(script.size()), "write");
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  try {
    standin::Script read = standin::ReadScript(path);
    for (const std::uint32_t code : {1U, 2U, 3U, 10U, 17U, 24U, 26U, 31U, 99U}) {
      Ask(read, code);
    }
    (void)read.Failure();
    (void)read.Summary();
  } catch (const standin::ScriptError& error) {
    Require(std::string_view(error.what()).starts_with(path), "the file comes first");
  }
  close(fd);
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return -1;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  fuzz::CheckRequest(data[0], std::string(bytes.substr(1)));
  // Files beside the script are not made up: a name could be one that never ends.
  if (bytes.find("file") == std::string_view::npos && bytes.find('\\') == std::string_view::npos) {
    fuzz::CheckScript(bytes);
  }
  return 0;
}
