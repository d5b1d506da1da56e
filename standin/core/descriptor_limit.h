// The limit of descriptors, and how many clients it allows.

#ifndef STANDIN_CORE_DESCRIPTOR_LIMIT_H
#define STANDIN_CORE_DESCRIPTOR_LIMIT_H

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>

namespace standin {

/// Raises the limit of descriptors as far as it goes. Returns how many clients it allows that
/// have so many descriptors each, at least one.
inline std::size_t RaiseDescriptorLimit(std::size_t descriptorsEach) {
  constexpr rlim_t others = 32;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  return (std::max<rlim_t>(limit.rlim_cur, others + descriptorsEach) - others) / descriptorsEach;
}

}  // namespace standin

#endif  // STANDIN_CORE_DESCRIPTOR_LIMIT_H
