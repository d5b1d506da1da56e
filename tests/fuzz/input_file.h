// Files by the C library alone, whose reading MemorySanitizer sees.

#ifndef FUZZ_INPUT_FILE_H
#define FUZZ_INPUT_FILE_H

#include <string>

namespace fuzz {

/// All bytes of a file that exists.
[[nodiscard]] std::string ReadFile(const std::string& path);

}  // namespace fuzz

#endif  // FUZZ_INPUT_FILE_H
