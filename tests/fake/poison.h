// Memory that nobody may touch, as far as the sanitizer of the build can tell.

#ifndef FAKE_POISON_H
#define FAKE_POISON_H

#include <cstddef>

#ifndef __has_feature  // g++ 12
#define __has_feature(feature) 0
#endif
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#elif __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#endif

namespace fake {

/// From here on touching the `count` bytes (with MemorySanitizer: acting on
/// their values) is a finding.
inline void Poison([[maybe_unused]] void* bytes, [[maybe_unused]] std::size_t count) {
#if __has_feature(address_sanitizer)
  ASAN_POISON_MEMORY_REGION(bytes, count);
#elif __has_feature(memory_sanitizer)
  __msan_poison(bytes, count);
#endif
}

/// Takes Poison back; with MemorySanitizer the bytes have values from here on.
inline void Unpoison([[maybe_unused]] void* bytes, [[maybe_unused]] std::size_t count) {
#if __has_feature(address_sanitizer)
  ASAN_UNPOISON_MEMORY_REGION(bytes, count);
#elif __has_feature(memory_sanitizer)
  __msan_unpoison(bytes, count);
#endif
}

/// Whether all `count` bytes can be written to.
inline bool IsWritable([[maybe_unused]] void* bytes, [[maybe_unused]] std::size_t count) {
#if __has_feature(address_sanitizer)
  return __asan_region_is_poisoned(bytes, count) == nullptr;
#else
  return true;
#endif
}

}  // namespace fake

#endif  // FAKE_POISON_H
