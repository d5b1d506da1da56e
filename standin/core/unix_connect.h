// Connects to a Unix-domain stream socket.

#ifndef STANDIN_CORE_UNIX_CONNECT_H
#define STANDIN_CORE_UNIX_CONNECT_H

#include <string>

#include "core/descriptor.h"

namespace standin {

/// Throws std::system_error, std::length_error for a path over 107 bytes.
[[nodiscard]] Descriptor ConnectTo(const std::string& path);

}  // namespace standin

#endif  // STANDIN_CORE_UNIX_CONNECT_H
