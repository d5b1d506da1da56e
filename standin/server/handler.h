// What the server does with a connection: answering (session.h) or relaying
// (forward/relay.h).

#ifndef STANDIN_SERVER_HANDLER_H
#define STANDIN_SERVER_HANDLER_H

#include <cstdint>

#include "core/descriptor.h"
#include "server/stop_signal.h"
#include "server/turns.h"

namespace standin {

/// A client that has connected.
struct Visitor {
  Descriptor socket;
  std::uint64_t connection;  ///< counted from 1
  Turns::Turn turn;          ///< to be left before the socket is closed
};

/// Called on one thread for each connection, on many at once.
class Handler {
 public:
  Handler() = default;
  virtual ~Handler() = default;
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;

  /// Serves the connection to its end; soon after `stop` is raised it returns.
  virtual void Serve(Visitor visitor, const StopSignal& stop) = 0;

  /// Whether there is no point in serving more clients.
  [[nodiscard]] virtual bool WantsToEnd() const { return false; }
};

}  // namespace standin

#endif  // STANDIN_SERVER_HANDLER_H
