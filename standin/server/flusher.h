// Offers what outputs have kept until their readers have taken it.

#ifndef STANDIN_SERVER_FLUSHER_H
#define STANDIN_SERVER_FLUSHER_H

#include <chrono>
#include <functional>
#include <set>

#include "log/output.h"
#include "server/loop.h"

namespace standin {

class Flusher {
 public:
  /// `changed` is notified when an output fails or has nothing left.
  Flusher(Loop& loop, Event& changed) : loop_(loop), changed_(changed) {}

  /// What is done when `output` has kept something or has failed.
  [[nodiscard]] std::function<void()> Keeps(Output& output);

  /// Waits for the reader to take what `output` has kept, for as long as it takes some, and
  /// no longer than to `end`, which may change meanwhile.
  [[nodiscard]] Task<> Drain(Output& output, const Clock::time_point& end);

 private:
  [[nodiscard]] Task<> Flush(Output& output);

  Loop& loop_;
  Event& changed_;
  std::set<Output*> flushing_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_FLUSHER_H
