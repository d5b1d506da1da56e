// The limit of descriptors, and how many clients it allows.

#ifndef STANDIN_CORE_DESCRIPTOR_LIMIT_H
#define STANDIN_CORE_DESCRIPTOR_LIMIT_H

#include <sys/resource.h>

#include <algorithm>
#include <cstddef>

namespace standin {

/// Raises the limit of descriptors as far as it goes while it lives.
class DescriptorLimit {
 public:
  DescriptorLimit() {
    getrlimit(RLIMIT_NOFILE, &before_);
    Raise();
  }
  void Raise() const {
    const rlimit raised{before_.rlim_max, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &raised);
  }
  /// For a process that is started meanwhile.
  void Restore() const { setrlimit(RLIMIT_NOFILE, &before_); }

  /// How many clients there can be of so many descriptors each.
  [[nodiscard]] static std::size_t Clients(std::size_t descriptorsEach) {
    constexpr rlim_t others = 32;
    rlimit now{};
    getrlimit(RLIMIT_NOFILE, &now);
    return (std::max<rlim_t>(now.rlim_cur, others + descriptorsEach) - others) / descriptorsEach;
  }

 private:
  rlimit before_{};
};

}  // namespace standin

#endif  // STANDIN_CORE_DESCRIPTOR_LIMIT_H
