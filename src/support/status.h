// The status convention of the client: one unsigned 32-bit number that every
// function hands up and that ends as the exit value of the process.

#ifndef TREL_SUPPORT_STATUS_H
#define TREL_SUPPORT_STATUS_H

#include <cstdint>

namespace trel {

/// Result of a function or of the whole run. A status that the daemon sent is
/// passed on unchanged: any value, of which only 0 has a meaning here.
using ReturnStatus = std::uint32_t;

inline constexpr ReturnStatus STATUS_OK = 0;
/// Usage errors, and a `socket`, `setsockopt` or `connect` that failed.
inline constexpr ReturnStatus STATUS_FAILURE = 0x0bad0001;
/// Base of the statuses that carry an `errno` value. Its low byte is zero, so
/// the exit value of such a run is the `errno` itself.
inline constexpr ReturnStatus STATUS_ERRNO_BASE = 0x2bad0000;

/// Status for the `errno` value `error`: STATUS_OK for 0, otherwise
/// STATUS_ERRNO_BASE plus its absolute value in unsigned 32-bit arithmetic.
/// Pure; the caller reads `errno` in the very expression that calls this, so
/// that nothing comes between the failed call and the reading.
///
/// Kept on purpose: a call that fails and leaves `errno` at 0 is a success.
[[nodiscard]] ReturnStatus StatusFromErrno(std::int32_t error);

}  // namespace trel

#endif  // TREL_SUPPORT_STATUS_H
