// Accepts clients and gives each a thread of its own, so that a slow or silent one
// holds up nobody. The number of threads is bounded: further clients wait in the
// listen queue.

#ifndef STANDIN_SERVER_SERVER_H
#define STANDIN_SERVER_SERVER_H

#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

#include "core/unix_listener.h"
#include "log/log.h"
#include "server/handler.h"
#include "server/stop_signal.h"
#include "server/turns.h"

namespace standin {

struct ServerLimits {
  std::size_t maxConnections = 256;
  std::optional<std::uint64_t> count;  ///< connections to serve before the end
};

class Server {
 public:
  Server(const UnixListener& listener, Handler& handler, Log& log, const ServerLimits& limits)
      : listener_(listener), handler_(handler), log_(log), limits_(limits) {}

  /// Serves clients until `count` of them have been served, the handler or the log
  /// wants no more, or `shouldEnd` tells so, which is asked whenever `endFd`
  /// becomes readable. Whoever has connected by then is still served with what it
  /// has sent by then. Throws std::system_error.
  void Run(int endFd, const std::function<bool()>& shouldEnd);

 private:
  using Threads = std::list<std::thread>;

  /// Waits for a client, the end of a thread, or `endFd`. Whether `endFd` is it.
  [[nodiscard]] bool Wait(int endFd);
  [[nodiscard]] bool ClientWaits() const;
  [[nodiscard]] bool MayAccept();
  [[nodiscard]] std::size_t Running();
  [[nodiscard]] bool CountReached() const { return limits_.count && accepted_ >= *limits_.count; }
  /// False if no client could be accepted.
  bool AcceptOne();
  void StartThread(Descriptor client);
  void JoinFinished();
  /// Serves those that wait already, then stops all threads.
  void Finish();

  const UnixListener& listener_;
  Handler& handler_;
  Log& log_;
  ServerLimits limits_;
  StopSignal stop_;
  StopSignal finishedSignal_;
  Turns turns_;
  std::uint64_t accepted_ = 0;
  bool full_ = false;
  std::mutex mutex_;  ///< of both lists
  Threads running_;
  Threads finished_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_SERVER_H
