// One file, read piece by piece.

#include "tests/fuzz/input_file.h"

#include <array>
#include <cstdio>

#include "tests/fake/require.h"

namespace fuzz {

std::string ReadFile(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  fake::Require(file != nullptr, path.c_str());
  std::string bytes;
  std::array<char, 4096> piece{};
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file)) {
    bytes.append(piece.data(), count);
  }
  (void)std::fclose(file);
  return bytes;
}

}  // namespace fuzz
