// poll(2) in front of each write(2) of as much as a pipe with room takes at once.

#include "log/output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

namespace standin {
namespace {

constexpr std::size_t MOST_KEPT = 16U << 20U;

bool IsRegular(int fd) {
  struct stat found {};
  return fstat(fd, &found) == 0 && S_ISREG(found.st_mode);
}

bool HasRoom(int fd) {
  pollfd wait{fd, POLLOUT, 0};
  return poll(&wait, 1, 0) > 0;
}

}  // namespace

Output::Output(Descriptor file) : file_(std::move(file)), regular_(IsRegular(file_.Get())) {}

Output Output::Standard(int fd) {
  // Opened anew it has flags of its own. That works neither for sockets nor for a pipe of
  // another user; a file would be written from its start.
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  Descriptor file(IsRegular(fd) ? -1
                                : open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file.Get() < 0) {
    file = Descriptor(fcntl(fd, F_DUPFD_CLOEXEC, 3));
  }
  if (file.Get() < 0) {
    throw std::system_error(errno, std::generic_category(),
                            fd == STDOUT_FILENO ? "standard output" : "standard error");
  }
  return Output(std::move(file));
}

std::optional<Output> Output::Open(const char* what, const std::string& path, Opening opening) {
  Descriptor file(open(path.c_str(),
                       O_WRONLY | O_CREAT | (opening == Opening::APPEND ? O_APPEND : O_TRUNC) |
                           O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC,
                       0600));
  if (file.Get() < 0) {
    const int error = errno;
    struct stat found {};
    if (error == ENXIO && stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode)) {
      return std::nullopt;
    }
    throw std::system_error(error, std::generic_category(), what + (" " + path));
  }
  return Output(std::move(file));
}

void Output::Write(std::string line) {
  if (error_ != 0 || (!kept_.empty() && kept_.size() - taken_ + line.size() > MOST_KEPT)) {
    ++linesLost_;
    return;
  }
  if (kept_.empty()) {
    kept_ = std::move(line);
  } else {
    kept_ += line;
  }
  Flush();
}

void Output::Flush() {
  while (taken_ < kept_.size() && error_ == 0 && (regular_ || HasRoom(file_.Get()))) {
    const std::size_t left = kept_.size() - taken_;
    const ssize_t count = write(file_.Get(), kept_.data() + taken_,
                                regular_ ? left : std::min<std::size_t>(left, PIPE_BUF));
    if (count >= 0) {
      taken_ += static_cast<std::size_t>(count);
      written_ += static_cast<std::uint64_t>(count);
    } else if (errno == EAGAIN) {
      break;
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
  if (taken_ == kept_.size()) {
    kept_.clear();
    taken_ = 0;
  } else if (taken_ > kept_.size() / 2) {
    kept_.erase(0, std::exchange(taken_, 0));
  }
}

std::uint64_t Output::LinesMissing() const {
  const auto kept =
      std::count(kept_.begin() + static_cast<std::ptrdiff_t>(taken_), kept_.end(), '\n');
  return linesLost_ + static_cast<std::uint64_t>(kept);
}

}  // namespace standin
