// Files through the stand-in daemon's script reader: it takes a script or says what is
// wrong with it, and a script that it takes has an answer to every request.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "fuzz/containment.h"
#include "protocol/request.h"
#include "script/answer_source.h"
#include "script/script_reader.h"

namespace fuzz {
namespace {

/// Requests that no script has seen before: every command, well-formed or not.
void Ask(standin::AnswerSource& source, std::uint32_t code) {
  const standin::Header header{.word = code, .length = 36};
  (void)source.AtConnect();
  (void)source.AtHeader(header);
  const standin::Verdict verdict =
      source.AtRequest(standin::DecodeRequest(header, std::string(36, '0')));
  Require(source.HasFailed() || verdict.differences.empty(), "a difference is a failure");
  if (verdict.answer.kind == standin::Answer::Kind::FRAME) {
    const std::string frame = standin::FrameBytes(verdict.answer);
    Require(frame.size() <= standin::HEADER_SIZE + verdict.answer.payload.size(),
            "an answer has no bytes but its own");
  }
  (void)standin::DescribeAnswer(verdict.answer)
      .dump(-1, ' ', false, standin::Json::error_handler_t::replace);
}

void Check(std::string_view script) {
  const int fd = memfd_create("script", MFD_CLOEXEC);
  Require(write(fd, script.data(), script.size()) == static_cast<ssize_t>(script.size()), "write");
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  try {
    const auto source = standin::ReadScript(path);
    for (const std::uint32_t code : {1U, 2U, 3U, 10U, 17U, 24U, 26U, 31U, 99U}) {
      Ask(*source, code);
    }
    Require(!source->HasFailed() || !source->Failure().empty(), "a failure is told");
    (void)source->Summary();
  } catch (const standin::ScriptError& error) {
    Require(std::string_view(error.what()).substr(0, path.size()) == path, "the file comes first");
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
