// A capture of all bytes between clients and the stand-in, for Wireshark: the format pcap.

#ifndef STANDIN_LOG_CAPTURE_H
#define STANDIN_LOG_CAPTURE_H

#include <cstdint>
#include <string_view>

#include "log/output.h"

namespace standin {

/// Packets of the link type 147, which is for private use. Each begins with 8 bytes: the
/// connection's number in network byte order, the direction (0 to the daemon, 1 to the
/// client), the byte order of the numbers in payloads (1: big-endian), two of zero. Up to
/// 65536 bytes of the connection follow.
class Capture {
 public:
  enum class Direction : unsigned char { TO_DAEMON = 0, TO_CLIENT = 1 };

  /// `output` is empty and must outlive the capture.
  explicit Capture(Output& output);

  void Write(std::uint64_t connection, Direction direction, std::string_view bytes);

 private:
  Output& output_;
};

}  // namespace standin

#endif  // STANDIN_LOG_CAPTURE_H
