// Stands between a client and a real daemon: bytes pass unchanged in both directions,
// half-closes and hang-ups included.

#ifndef STANDIN_FORWARD_PROXY_H
#define STANDIN_FORWARD_PROXY_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "forward/recorder.h"
#include "log/log.h"
#include "options.h"
#include "script/reply.h"
#include "server/connection.h"

namespace standin {

class Proxy {
 public:
  /// `daemonPath`: the socket of the daemon, connected to anew for each client.
  /// `limits`: longer payloads are passed on, but not decoded; of a daemon whose reply is
  /// changed the same silence is allowed as of a client.
  /// `recorder`: null: none.
  Proxy(Loop& loop, Log& log, Recorder* recorder, std::string daemonPath, const Limits& limits)
      : loop_(loop),
        log_(log),
        recorder_(recorder),
        daemonPath_(std::move(daemonPath)),
        limits_(limits) {}

  /// Passes on all that either side sends. `first`: what the client has sent already.
  /// `more`: for the log line of the request.
  [[nodiscard]] Task<> Serve(std::shared_ptr<Connection> client, std::string first, Object more);

  /// Passes a whole request on, and returns the daemon's own reply with the changes that
  /// `changes` has; null without a daemon. A stream is awaited to its end, to the bytes that
  /// are wanted of it, or to the limit of a payload.
  [[nodiscard]] Task<SharedReply> Ask(Connection& client, const Request& request,
                                      const Reply& changes, Object more);

 private:
  /// Connects to the daemon for `client`, after all earlier ones. Null if that fails.
  /// `patience`: for the silence of the daemon; 0: any.
  [[nodiscard]] Task<std::shared_ptr<Connection>> Connect(Connection& client,
                                                          std::chrono::milliseconds patience);

  Loop& loop_;
  Log& log_;
  Recorder* recorder_;
  std::string daemonPath_;
  Limits limits_;
  std::map<std::uint64_t, Connection*> waiting_;  ///< for the daemon to accept, in order
};

}  // namespace standin

#endif  // STANDIN_FORWARD_PROXY_H
