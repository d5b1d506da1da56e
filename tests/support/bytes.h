// Bytes written down by hand in tests, and how a difference is shown.

#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "core/text.h"

namespace tests {

using standin::FromHex;
using standin::HexDump;

/// `count` zero bytes.
[[nodiscard]] inline std::string Zeros(std::size_t count) {
  return std::string(count, '\0');  // NOLINT(modernize-return-braced-init-list): two characters
}

/// The byte order of the machine that the client under test is built for: "big" or "little"
/// in the environment's TREL_TOOL_BYTE_ORDER, for one that an emulator runs, else this one's.
[[nodiscard]] inline std::endian ClientByteOrder() {
  const char* order = std::getenv("TREL_TOOL_BYTE_ORDER");
  if (order == nullptr) {
    return std::endian::native;
  }
  return std::string_view(order) == "big" ? std::endian::big : std::endian::little;
}

/// A number as the client has it in memory: payloads carry theirs in its host's byte order.
template <typename Number>
[[nodiscard]] std::string InMemory(Number number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  if (ClientByteOrder() != std::endian::native) {
    std::reverse(bytes.begin(), bytes.end());
  }
  return bytes;
}

/// Whether both are the same bytes; shows both in hexadecimal if not.
[[nodiscard]] inline testing::AssertionResult SameBytes(std::string_view expected,
                                                        std::string_view actual) {
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "expected " << expected.size() << " bytes:\n"
                                     << HexDump(expected) << "got " << actual.size() << " bytes:\n"
                                     << HexDump(actual);
}

}  // namespace tests

#endif  // TESTS_SUPPORT_BYTES_H
