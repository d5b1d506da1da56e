// The linker hands calls of these C library functions to __wrap_<name> here. While
// nothing is contained they go straight on to the library.

#include "fuzz/containment.h"

#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz/poison.h"

// The names are the linker's: NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
[[noreturn]] void __real_abort();
[[noreturn]] void __real_exit(int value);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
void __real_free(void* block);
}

namespace {

bool contained = false;
std::jmp_buf wayBack;
fuzz::Outcome outcome;
std::vector<void*> blocks;

void* Kept(void* block) {
  if (contained && block != nullptr) {
    blocks.push_back(block);
  }
  return block;
}

bool IsRefused(std::size_t size) { return contained && size > fuzz::ALLOCATION_LIMIT; }

/// A block that does not end in zero bytes by luck: the C library's own reading is
/// not instrumented, so a text that it reads beyond its end must look wrong.
void* WithTail(std::size_t size) {
  constexpr std::size_t tail = 16;
  auto* block = static_cast<char*>(__real_malloc(size + tail));
  std::fill_n(block + size, tail, '?');
  fuzz::Poison(block + size, tail);
  return block;
}

[[noreturn]] void ComeBack(fuzz::Ending ending, int exitValue) {
  contained = false;
  outcome.ending = ending;
  outcome.exitValue = exitValue;
  std::longjmp(wayBack, 1);  // NOLINT(cert-err52-cpp): the client has no destructors
}

}  // namespace

extern "C" {

[[noreturn]] void __wrap_abort() {
  if (contained) {
    ComeBack(fuzz::Ending::ABORTED, 0);
  }
  __real_abort();
}

[[noreturn]] void __wrap_exit(int value) {
  if (contained) {
    ComeBack(fuzz::Ending::EXITED, value);
  }
  __real_exit(value);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return IsRefused(count * size) ? nullptr : Kept(__real_calloc(count, size));
}

void* __wrap_malloc(std::size_t size) {
  if (!contained) {
    return __real_malloc(size);
  }
  return IsRefused(size) ? nullptr : Kept(WithTail(size));
}

char* __wrap_strdup(const char* text) { return static_cast<char*>(Kept(__real_strdup(text))); }

void __wrap_free(void* block) {
  if (contained && block != nullptr) {
    const auto place = std::find(blocks.begin(), blocks.end(), block);
    fuzz::Require(place != blocks.end(), "a block is released that was not obtained");
    blocks.erase(place);
  }
  __real_free(block);
}

// Freed blocks stay unused for the length of an input, which frees less than 1 MiB;
// AddressSanitizer's own 256 MiB are cold memory for every block.
const char* __asan_default_options() {
  return "quarantine_size_mb=1:thread_local_quarantine_size_kb=256:malloc_context_size=8";
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fuzz {

Outcome ContainCall(void (*call)(void*), void* piece) {
  outcome = {};
  if (setjmp(wayBack) == 0) {  // NOLINT(cert-err52-cpp)
    contained = true;
    call(piece);
    contained = false;
  }
  outcome.blocksHeld = blocks.size();
  for (void* block : blocks) {
    __real_free(block);
  }
  blocks.clear();
  return outcome;
}

bool IsContained() { return contained; }

void Fail(const char* what) {
  contained = false;
  // Not through `stderr`, which may be captured.
  (void)dprintf(STDERR_FILENO, "broken: %s\n", what);
  __real_abort();
}

}  // namespace fuzz
