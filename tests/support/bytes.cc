// How a difference is shown.

#include "tests/support/bytes.h"

#include <cstdlib>

namespace tests {

std::endian ClientByteOrder() {
  const char* order = std::getenv("TREL_TOOL_BYTE_ORDER");
  if (order == nullptr) {
    return std::endian::native;
  }
  return std::string_view(order) == "big" ? std::endian::big : std::endian::little;
}

testing::AssertionResult SameBytes(std::string_view expected, std::string_view actual) {
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "expected " << expected.size() << " bytes:\n"
                                     << HexDump(expected) << "got " << actual.size() << " bytes:\n"
                                     << HexDump(actual);
}

}  // namespace tests
