// A file descriptor with one owner.

#ifndef STANDIN_CORE_DESCRIPTOR_H
#define STANDIN_CORE_DESCRIPTOR_H

#include <unistd.h>

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

}  // namespace standin

#endif  // STANDIN_CORE_DESCRIPTOR_H
