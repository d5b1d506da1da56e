// Checked allocation: memory or the end of the process, never null.

#ifndef TREL_SUPPORT_SAFE_ALLOC_H
#define TREL_SUPPORT_SAFE_ALLOC_H

#include <cstddef>

namespace trel {

/// Zero-filled memory for `count` elements of `size` bytes each, by calloc(3).
/// Owned by the caller, released with free(3). Never null: exhaustion panics
/// with "TREL_SafeCalloc:3126: Failed to allocate new memory".
[[nodiscard]] void* TREL_SafeCalloc(std::size_t count, std::size_t size);

/// `size` uninitialised bytes, by malloc(3). Owned by the caller, released with
/// free(3). Never null: exhaustion panics with
/// "TREL_SafeMalloc:3116: Failed to allocate new memory".
[[nodiscard]] void* TREL_SafeMalloc(std::size_t size);

}  // namespace trel

#endif  // TREL_SUPPORT_SAFE_ALLOC_H
