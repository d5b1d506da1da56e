// A fresh folder with a short name, so that socket paths in it stay short.

#ifndef TESTS_SUPPORT_TEMP_FOLDER_H
#define TESTS_SUPPORT_TEMP_FOLDER_H

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is not in cstdlib

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace tests {

/// In the folder that TMPDIR names, or in /tmp without one or where the paths of
/// sockets would grow too long. Removed with all that is in it when the test ends.
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
  /// A socket's path has at most 107 bytes.
  static constexpr std::size_t PARENT_MAX_LENGTH = 80;

  static std::string Parent() {
    const char* parent = std::getenv("TMPDIR");
    const bool fits =
        parent != nullptr && *parent == '/' && std::strlen(parent) <= PARENT_MAX_LENGTH;
    return fits ? parent : "/tmp";
  }

  std::string path_ = Parent() + "/trel.XXXXXX";
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
