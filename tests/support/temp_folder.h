// A fresh folder with a short name, so that socket paths in it stay short.

#ifndef TESTS_SUPPORT_TEMP_FOLDER_H
#define TESTS_SUPPORT_TEMP_FOLDER_H

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is not in cstdlib

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace tests {

/// Removed with all that is in it when the test ends.
class TempFolder {
 public:
  TempFolder() {
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_ = "/tmp/trel.XXXXXX";
};

/// All bytes of a file; throws if it cannot be read.
[[nodiscard]] inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.exceptions(std::ios::badbit | std::ios::failbit);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Replaces the file's content; throws if it cannot be written.
inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file.exceptions(std::ios::badbit | std::ios::failbit);
  file << content << std::flush;
}

}  // namespace tests

#endif  // TESTS_SUPPORT_TEMP_FOLDER_H
