// Runs a piece of the client inside the fuzzer's process although it may end the
// process, print, and leave memory to the end of the process.

#ifndef FUZZ_SUPPORT_CONTAINMENT_H
#define FUZZ_SUPPORT_CONTAINMENT_H

#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>

namespace fuzz {

/// How the contained piece came back.
enum class Ending { RETURNED, EXITED, ABORTED };

struct Outcome {
  Ending ending = Ending::RETURNED;
  int exitValue = 0;           ///< of exit(3), when that was called
  std::size_t blocksHeld = 0;  ///< allocated and not released by then
};

/// What becomes of fopen(3).
enum class Files { OPENED, REFUSED };

/// Runs `piece`. exit(3) and abort(3) come back here; blocks that the piece has
/// not released are counted, then released, and files that it has opened are
/// closed. An allocation beyond ALLOCATION_LIMIT fails as if memory were
/// exhausted, and with REFUSED fopen(3) fails with EACCES.
[[nodiscard]] Outcome Contain(const std::function<void()>& piece, Files files);

inline constexpr std::size_t ALLOCATION_LIMIT = std::size_t{1} << 20;

/// Takes the place of the C library's `stdout` or `stderr` while it lives, and
/// keeps what is printed. The descriptor is not touched.
class StreamCapture {
 public:
  explicit StreamCapture(std::FILE*& stream);
  ~StreamCapture();
  StreamCapture(const StreamCapture&) = delete;
  StreamCapture& operator=(const StreamCapture&) = delete;

  [[nodiscard]] std::string Text();

 private:
  std::FILE*& replaced_;
  std::FILE* original_;
  std::FILE* memory_ = nullptr;
  char* text_ = nullptr;
  std::size_t length_ = 0;
};

/// Ends the fuzzer, which keeps the input, unless `holds`.
void Require(bool holds, const char* what);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_CONTAINMENT_H
