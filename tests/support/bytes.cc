// How a difference is shown.

#include "support/bytes.h"

namespace tests {

testing::AssertionResult SameBytes(std::string_view expected, std::string_view actual) {
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "expected " << expected.size() << " bytes:\n"
                                     << HexDump(expected) << "got " << actual.size() << " bytes:\n"
                                     << HexDump(actual);
}

}  // namespace tests
