// poll(2) in front of each write(2) of as much as a pipe with room takes at once. Room in a
// pipe is tried, not waited for: what shares the pipe may block it.

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
constexpr std::chrono::milliseconds FLUSH_RETRY{5};
/// The reader may rest for so long.
constexpr std::chrono::milliseconds READER_REST{2000};

bool IsRegular(int fd) {
  struct stat found {};
  return fstat(fd, &found) == 0 && S_ISREG(found.st_mode);
}

bool HasRoom(int fd) {
  pollfd wait{fd, POLLOUT, 0};
  return poll(&wait, 1, 0) > 0;
}

}  // namespace

Descriptor OpenStandard(int fd) {
  // Opened anew it has flags of its own. That works neither for sockets nor for a pipe of
  // another user; a file would be written from its start.
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  if (!IsRegular(fd)) {
    Descriptor file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.IsOpen()) {
      return file;
    }
  }
  return Duplicate(fd, fd == STDOUT_FILENO ? "standard output" : "standard error");
}

Descriptor OpenOutput(const char* what, const std::string& path, Opening opening) {
  Descriptor file(open(path.c_str(),
                       O_WRONLY | O_CREAT | (opening == Opening::APPEND ? O_APPEND : O_TRUNC) |
                           O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC,
                       0600));
  if (!file.IsOpen()) {
    const int error = errno;
    struct stat found {};
    if (error == ENXIO && stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode)) {
      return file;
    }
    throw std::system_error(error, std::generic_category(), what + (" " + path));
  }
  return file;
}

Output::Output(Loop& loop, Event& changed, Descriptor file)
    : loop_(loop), changed_(changed), file_(std::move(file)), regular_(IsRegular(file_.Get())) {}

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
  if (HasKept() && !std::exchange(flushesLater_, true)) {
    asio::co_spawn(loop_.context.get_executor(), FlushLater(), asio::detached);
  }
}

Task<> Output::FlushLater() {
  Event never(loop_.context);
  while (HasKept() && error_ == 0) {
    co_await never.WaitFor(FLUSH_RETRY);
    Flush();
  }
  flushesLater_ = false;
  changed_.Notify();
}

Task<> Output::Drain(const Clock::time_point& end) {
  std::uint64_t written = written_;
  Clock::time_point rest = Clock::now() + READER_REST;
  while (HasKept() && error_ == 0 && Clock::now() < rest && Clock::now() < end) {
    co_await changed_.WaitFor(FLUSH_RETRY);
    if (written_ != written) {
      written = written_;
      rest = Clock::now() + READER_REST;
    }
  }
}

void Output::Flush() {
  while (taken_ < kept_.size() && error_ == 0 && (regular_ || HasRoom(file_.Get()))) {
    const std::size_t left = kept_.size() - taken_;
    const ssize_t count = write(file_.Get(), kept_.data() + taken_,
                                regular_ ? left : std::min<std::size_t>(left, PIPE_BUF));
    if (count >= 0) {
      taken_ += static_cast<std::size_t>(count);
      written_ += static_cast<std::uint64_t>(count);
    } else if (errno != EINTR && errno != EAGAIN) {
      error_ = errno;
    }
  }
  if (taken_ > kept_.size() / 2) {
    kept_.erase(0, std::exchange(taken_, 0));
  }
}

std::uint64_t Output::LinesMissing() const {
  const auto kept =
      std::count(kept_.begin() + static_cast<std::ptrdiff_t>(taken_), kept_.end(), '\n');
  return linesLost_ + static_cast<std::uint64_t>(kept);
}

}  // namespace standin
