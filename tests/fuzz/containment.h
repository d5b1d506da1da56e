// Runs a piece of the client inside the fuzzer's process although it may end the
// process and leave memory to the end of the process.

#ifndef FUZZ_CONTAINMENT_H
#define FUZZ_CONTAINMENT_H

#include <cstddef>

namespace fuzz {

/// How the contained piece came back.
enum class Ending { RETURNED, EXITED, ABORTED };

struct Outcome {
  Ending ending = Ending::RETURNED;
  int exitValue = 0;           ///< of exit(3), when that was called
  std::size_t blocksHeld = 0;  ///< allocated and not released by then
};

/// An allocation of more bytes fails as if memory were exhausted. It is more than
/// any input can fill.
inline constexpr std::size_t ALLOCATION_LIMIT = std::size_t{1} << 18;

[[nodiscard]] Outcome ContainCall(void (*call)(void*), void* piece);

/// Runs `piece`, a callable without arguments. exit(3) and abort(3) come back
/// here; blocks that the piece has not released are counted, then released.
template <typename Piece>
[[nodiscard]] Outcome Contain(Piece piece) {
  return ContainCall([](void* held) { (*static_cast<Piece*>(held))(); }, &piece);
}

/// Whether a contained piece is running.
[[nodiscard]] bool IsContained();

/// Prints `what` and ends the fuzzer, which keeps the input.
[[noreturn]] void Fail(const char* what);

/// Fails unless `holds`.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    Fail(what);
  }
}

}  // namespace fuzz

#endif  // FUZZ_CONTAINMENT_H
