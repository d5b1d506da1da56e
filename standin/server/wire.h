// A connection whose waits end: when the peer is silent for too long, or when the
// server stops. What has already arrived is still read then.

#ifndef STANDIN_SERVER_WIRE_H
#define STANDIN_SERVER_WIRE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "server/handler.h"
#include "server/stop_signal.h"

namespace standin {

class Wire {
 public:
  /// How a wait or a read ended.
  enum class End { DONE, HUNG_UP, BROKEN, IDLE, STOPPED };

  Wire(Visitor visitor, const StopSignal& stop, std::chrono::milliseconds idleTime);

  /// Appends bytes to `bytes` until it holds `size`, or until the result says why
  /// not.
  [[nodiscard]] End Read(std::string& bytes, std::size_t size);

  /// Reads and forgets up to `count` bytes.
  End Discard(std::uint64_t count);

  /// Reads and forgets, for however long, until the peer hangs up.
  End AwaitHangUp();

  /// Bytes that have arrived and nobody has read, at most a few thousand.
  [[nodiscard]] std::string TakeArrived() const;

  /// Sends all of `bytes`.
  [[nodiscard]] End Send(std::string_view bytes);

  /// Does nothing for a while.
  [[nodiscard]] End Pause(std::chrono::milliseconds time) const;

  /// Waits until no earlier client has bytes that nobody has taken.
  void AwaitTurn() { visitor_.turn.Await(); }
  /// The request has been taken: later ones need not wait for it.
  void LeaveTurn() { visitor_.turn.Leave(); }

 private:
  [[nodiscard]] End Await(short events, int timeout) const;
  /// Receives once. DONE: `count` is how many bytes, more than none.
  [[nodiscard]] End Receive(char* bytes, std::size_t size, int timeout, std::size_t& count);

  Visitor visitor_;
  const StopSignal& stop_;
  int idleTime_;  ///< milliseconds, -1: for ever
};

/// "hung up", "broken connection", "silent for too long" or "the server stops".
[[nodiscard]] const char* TextOf(Wire::End end);

}  // namespace standin

#endif  // STANDIN_SERVER_WIRE_H
