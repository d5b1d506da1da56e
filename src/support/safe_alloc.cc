// The two checked-allocation sites. Log scrapers know them by name and line
// number, so both are constants that do not follow the layout of this file.

#include "support/safe_alloc.h"

#include <cstdlib>

#include "support/qslibs.h"

namespace trel {
namespace {

constexpr int SAFE_CALLOC_LINE = 3126;
constexpr int SAFE_MALLOC_LINE = 3116;

void* CheckedMemory(void* memory, const char* site, int line) {
  if (memory == nullptr) {
    Panic("%s:%d: Failed to allocate new memory", site, line);
  }
  return memory;
}

}  // namespace

void* TREL_SafeCalloc(std::size_t count, std::size_t size) {
  return CheckedMemory(std::calloc(count, size), "TREL_SafeCalloc", SAFE_CALLOC_LINE);
}

void* TREL_SafeMalloc(std::size_t size) {
  return CheckedMemory(std::malloc(size), "TREL_SafeMalloc", SAFE_MALLOC_LINE);
}

}  // namespace trel
