// Files by the C library alone, whose reading MemorySanitizer sees.

#ifndef FUZZ_INPUT_FILE_H
#define FUZZ_INPUT_FILE_H

#include <cstdio>
#include <string>

#include "tests/fake/require.h"

namespace fuzz {

/// All bytes of a file that exists, 64 KiB at most.
[[nodiscard]] inline std::string ReadFile(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  fake::Require(file != nullptr, path.c_str());
  std::string bytes(1 << 16, '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  (void)std::fclose(file);
  return bytes;
}

}  // namespace fuzz

#endif  // FUZZ_INPUT_FILE_H
