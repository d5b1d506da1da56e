// A file descriptor with one owner, and a second one of the same file.

#ifndef STANDIN_CORE_DESCRIPTOR_H
#define STANDIN_CORE_DESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace standin {

/// Closes its descriptor when it goes; -1 stands for none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Close(); }

  [[nodiscard]] bool IsOpen() const { return fd_ >= 0; }
  [[nodiscard]] int Get() const { return fd_; }

  /// Hands the descriptor to another owner.
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }

  void Close() {
    if (IsOpen()) {
      close(Release());
    }
  }

 private:
  int fd_ = -1;
};

/// A second descriptor of the same file, never a standard stream. Throws std::system_error that
/// names `what` if there is none: mostly EMFILE, fcntl(2).
inline Descriptor Duplicate(int fd, const char* what) {
  Descriptor second(fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!second.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return second;
}

}  // namespace standin

#endif  // STANDIN_CORE_DESCRIPTOR_H
