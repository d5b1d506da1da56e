// The project's own implementation of the support library's four functions.
// Left out of the build when TREL_QSLIBS names a library that brings them.

#include "support/qslibs.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/status.h"

void Warning(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

void Panic(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::putc('\n', stderr);
  std::abort();
}

char* UtilSafeStrdup0(const char* text) {
  char* copy = strdup(text);
  if (copy == nullptr) {
    Panic("%s: Failed to allocate new memory", __func__);
  }
  return copy;
}

namespace {

/// The C library's description of an error, null if it knows none.
const char* DescriptionOf(int error) {
#ifdef __GLIBC__
  return strerrordesc_np(error);
#else
  // musl gives one text for all numbers that it does not know, 0 among them.
  const char* description = std::strerror(error);
  return std::strcmp(description, std::strerror(0)) != 0 ? description : nullptr;
#endif
}

}  // namespace

const char* QSR_ReturnStatusToString(std::uint32_t status) {
  if (status == trel::STATUS_OK) {
    return "Success";
  }
  if (status == trel::STATUS_FAILURE) {
    return "Failure";
  }
  const std::uint32_t error = status - trel::STATUS_ERRNO_BASE;
  if (error == EAGAIN) {
    // All that a user ever sees of a receive time-out.
    return "No answer within the time-out";
  }
  // Errors are numbered from 1; the C library would call number 0 a success.
  if (error > 0 && error <= INT32_MAX) {
    const char* description = DescriptionOf(static_cast<int>(error));
    // ETOOMANYREFS alone has the separator of an error line in its description.
    if (description != nullptr && std::strstr(description, ": ") == nullptr) {
      return description;
    }
  }
  // The interface hands out constant text for 2^32 statuses, so the last one
  // formatted is kept here: the only storage of the client that outlives a call.
  static char unknown[sizeof "Unknown status 0x00000000"];
  std::snprintf(unknown, sizeof unknown, "Unknown status 0x%08x", status);
  return unknown;
}
