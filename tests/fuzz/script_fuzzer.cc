// Files through the stand-in daemon's script reader: it takes a script or says what is
// wrong with it, and a script that it takes has a reply to every request.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "json/json.h"
#include "protocol/request.h"
#include "script/script.h"
#include "tests/fake/require.h"

namespace fuzz {
namespace {

/// Requests that no script has seen before: every command, well-formed or not.
void Ask(standin::Script& script, std::uint32_t code) {
  const standin::Header header{.word = code, .length = 36};
  (void)script.AtConnect();
  (void)script.AtHeader(header);
  const standin::Outcome outcome =
      script.AtRequest(standin::DecodeRequest(header, std::string(36, '0')));
  fake::Require(!script.Failure().empty() || outcome.differences.empty(),
                "a difference is a failure");
  if (outcome.reply->type == standin::Reply::Type::FRAME) {
    const std::string frame = standin::FrameBytes(*outcome.reply);
    fake::Require(frame.size() <= standin::HEADER_SIZE + outcome.reply->payload.size(),
                  "a reply has no bytes but its own");
  }
  (void)standin::ToJson(standin::DescribeReply(*outcome.reply));
}

void Check(std::string_view script) {
  const int fd = memfd_create("script", MFD_CLOEXEC);
  fake::Require(write(fd, script.data(), script.size()) == static_cast<ssize_t>(script.size()),
                "write");
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  try {
    standin::Script read = standin::ReadScript(path);
    for (const std::uint32_t code : {1U, 2U, 3U, 10U, 17U, 24U, 26U, 31U, 99U}) {
      Ask(read, code);
    }
    (void)read.Failure();
    (void)read.Summary();
  } catch (const standin::ScriptError& error) {
    fake::Require(std::string_view(error.what()).substr(0, path.size()) == path,
                  "the file comes first");
  }
  close(fd);
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view script(reinterpret_cast<const char*>(data), size);
  // Files beside the script are not made up: a name could be one that never ends.
  if (script.find("file") != std::string_view::npos ||
      script.find('\\') != std::string_view::npos) {
    return -1;
  }
  fuzz::Check(script);
  return 0;
}
