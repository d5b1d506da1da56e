// The frame of requests and replies: an 8-byte header of two big-endian 32-bit
// words, then a payload. Written apart from the client's framing, on purpose: a
// mistake in one must not agree with the other.

#ifndef STANDIN_CORE_FRAME_H
#define STANDIN_CORE_FRAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace standin {

inline constexpr std::size_t HEADER_SIZE = 8;

struct Header {
  std::uint32_t word = 0;    ///< command code of a request, status of a reply
  std::uint32_t length = 0;  ///< payload bytes that follow
};

/// The 8 bytes of a header.
[[nodiscard]] std::string EncodeHeader(const Header& header);

/// The header in the first 8 bytes of `bytes`, which holds at least as many.
[[nodiscard]] Header DecodeHeader(std::string_view bytes);

/// A whole frame, whose length field is the length of its payload.
[[nodiscard]] std::string EncodeFrame(std::uint32_t word, std::string_view payload);

}  // namespace standin

#endif  // STANDIN_CORE_FRAME_H
