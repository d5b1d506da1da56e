// The linker hands calls of these C library functions to __wrap_<name> here. While
// nothing is contained they go straight on to the library.

#include "support/containment.h"

#include <sanitizer/asan_interface.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <vector>

// The names are the linker's: NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
[[noreturn]] void __real_abort();
[[noreturn]] void __real_exit(int value);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
void __real_free(void* block);
std::FILE* __real_fopen(const char* path, const char* mode);
}

namespace {

bool contained = false;
std::jmp_buf wayBack;
fuzz::Outcome outcome;
std::vector<void*> blocks;
fuzz::Files filesWanted;
std::vector<std::FILE*> openFiles;

void* Kept(void* block) {
  if (contained && block != nullptr) {
    blocks.push_back(block);
  }
  return block;
}

bool IsRefused(std::size_t size) { return contained && size > fuzz::ALLOCATION_LIMIT; }

constexpr std::size_t TAIL = 16;

/// A block that does not end in zero bytes by luck: the C library's own reading is
/// not instrumented, so a text that it reads beyond its end must look wrong.
void* WithTail(std::size_t size) {
  auto* block = static_cast<char*>(__real_malloc(size + TAIL));
  std::fill_n(block + size, TAIL, '?');
#if __has_feature(address_sanitizer)
  ASAN_POISON_MEMORY_REGION(block + size, TAIL);
#endif
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

char* __wrap_strdup(const char* text) {
  char* copy = __real_strdup(text);
  Kept(copy);
  return copy;
}

void __wrap_free(void* block) {
  if (contained && block != nullptr) {
    const auto place = std::find(blocks.begin(), blocks.end(), block);
    fuzz::Require(place != blocks.end(), "a block is released that was not obtained");
    blocks.erase(place);
  }
  __real_free(block);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (contained && filesWanted == fuzz::Files::REFUSED) {
    errno = EACCES;
    return nullptr;
  }
  std::FILE* file = __real_fopen(path, mode);
  if (contained && file != nullptr) {
    openFiles.push_back(file);
  }
  return file;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fuzz {

Outcome Contain(const std::function<void()>& piece, Files files) {
  outcome = {};
  filesWanted = files;
  if (setjmp(wayBack) == 0) {  // NOLINT(cert-err52-cpp)
    contained = true;
    piece();
    contained = false;
  }
  outcome.blocksHeld = blocks.size();
  for (void* block : blocks) {
    __real_free(block);
  }
  blocks.clear();
  for (std::FILE* file : openFiles) {
    (void)std::fclose(file);
  }
  openFiles.clear();
  return outcome;
}

StreamCapture::StreamCapture(std::FILE*& stream)
    : replaced_(stream), original_(stream), memory_(open_memstream(&text_, &length_)) {
  Require(memory_ != nullptr, "open_memstream");
  replaced_ = memory_;
}

StreamCapture::~StreamCapture() {
  replaced_ = original_;
  (void)std::fclose(memory_);
  __real_free(text_);
}

std::string StreamCapture::Text() {
  (void)std::fflush(memory_);
  return {text_, length_};
}

void Require(bool holds, const char* what) {
  if (!holds) {
    contained = false;
    // Not through `stderr`, which may be captured.
    (void)dprintf(STDERR_FILENO, "broken: %s\n", what);
    __real_abort();
  }
}

}  // namespace fuzz
