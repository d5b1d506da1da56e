// Conversion of the C library's error numbers into statuses.

#include "support/status.h"

namespace trel {

ReturnStatus StatusFromErrno(std::int32_t error) {
  if (error == 0) {
    return STATUS_OK;
  }
  // Kept on purpose: the C library never sets a negative `errno`, yet the rule
  // is base plus absolute value. Unsigned negation also holds for INT32_MIN.
  const auto number = static_cast<std::uint32_t>(error);
  return STATUS_ERRNO_BASE + (error < 0 ? 0U - number : number);
}

}  // namespace trel
