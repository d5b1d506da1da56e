// Accepts clients and starts a coroutine for each. Their number is bounded: further clients
// wait in the listen queue.

#ifndef STANDIN_SERVER_SERVER_H
#define STANDIN_SERVER_SERVER_H

#include <cstdint>
#include <functional>
#include <memory>

#include "core/unix_socket.h"
#include "log/log.h"
#include "options.h"
#include "server/connection.h"

namespace standin {

class Server {
 public:
  /// What is done with a connection, from its turn to its end.
  using Handler = std::function<Task<>(std::shared_ptr<Connection> client)>;

  /// `listener` does not block. `changed` is notified when the server has ended.
  /// `capture`: of all that clients send and get; null: none.
  Server(Loop& loop, const UnixListener& listener, Handler handler, Log& log, Capture* capture,
         const Limits& limits, Event& changed);

  /// Accepts clients until so many have come as the limits want, or until Stop.
  [[nodiscard]] Task<> Run();

  /// Accepts nobody but those that have connected by now.
  void Stop();

  /// Whether no connection is open and none will be.
  [[nodiscard]] bool HasEnded() const { return !accepting_ && running_ == 0; }

 private:
  enum class Next { AWAIT_CLIENT, AWAIT_ROOM, RETRY_LATER, END };

  /// Accepts those that wait, and says what Run does next. END: nobody can come any more.
  [[nodiscard]] Next AcceptWaiting();
  void Start(Descriptor client);
  [[nodiscard]] Task<> Serve(std::shared_ptr<Connection> client);

  Loop& loop_;
  const UnixListener& listener_;
  AsyncDescriptor watched_;  ///< of the listener, which keeps its descriptor
  Handler handler_;
  Log& log_;
  Capture* capture_;
  Limits limits_;
  Event& changed_;
  Event roomMade_;
  std::uint64_t accepted_ = 0;
  std::size_t running_ = 0;
  bool accepting_ = true;
};

}  // namespace standin

#endif  // STANDIN_SERVER_SERVER_H
