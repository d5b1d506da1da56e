// Room in a pipe is tried, not waited for: what shares the pipe may block it.

#include "server/flusher.h"

#include <cstdint>

namespace standin {
namespace {

constexpr std::chrono::milliseconds FLUSH_RETRY{5};
/// The reader may rest for so long.
constexpr std::chrono::milliseconds READER_REST{2000};

}  // namespace

std::function<void()> Flusher::Keeps(Output& output) {
  return [this, &output] {
    if (output.Error() != 0) {
      changed_.Notify();
    } else if (flushing_.insert(&output).second) {
      asio::co_spawn(loop_.context.get_executor(), Flush(output), asio::detached);
    }
  };
}

Task<> Flusher::Flush(Output& output) {
  Event never(loop_.context);
  while (output.HasKept() && output.Error() == 0) {
    co_await never.WaitFor(FLUSH_RETRY);
    output.Flush();
  }
  flushing_.erase(&output);
  changed_.Notify();
}

Task<> Flusher::Drain(Output& output, const Clock::time_point& end) {
  std::uint64_t written = output.Written();
  Clock::time_point rest = Clock::now() + READER_REST;
  while (output.HasKept() && output.Error() == 0 && Clock::now() < rest && Clock::now() < end) {
    co_await changed_.WaitFor(FLUSH_RETRY);
    output.Flush();
    if (output.Written() != written) {
      written = output.Written();
      rest = Clock::now() + READER_REST;
    }
  }
}

}  // namespace standin
