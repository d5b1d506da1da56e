// What the command line limits.

#ifndef STANDIN_SERVER_LIMITS_H
#define STANDIN_SERVER_LIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace standin {

struct Limits {
  std::size_t maxConnections = 0;             ///< at once; 0: as many as descriptors allow
  std::optional<std::uint64_t> count;         ///< connections to serve before the end
  std::uint64_t maxPayload = 16U << 20U;      ///< bytes
  std::chrono::milliseconds idleTime{60000};  ///< of silence within a request; 0: no limit
};

}  // namespace standin

#endif  // STANDIN_SERVER_LIMITS_H
