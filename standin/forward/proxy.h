// Stands between a client and a real daemon: bytes pass unchanged in both directions,
// half-closes and hang-ups included.

#ifndef STANDIN_FORWARD_PROXY_H
#define STANDIN_FORWARD_PROXY_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "log/log.h"
#include "server/connection.h"

namespace standin {

class Proxy {
 public:
  /// `daemonPath`: the socket of the daemon, connected to anew for each client.
  /// `maxPayload`: longer payloads are passed on, but not decoded.
  Proxy(Loop& loop, Log& log, std::string daemonPath, std::uint64_t maxPayload)
      : loop_(loop), log_(log), daemonPath_(std::move(daemonPath)), maxPayload_(maxPayload) {}

  [[nodiscard]] Task<> Serve(std::shared_ptr<Connection> client);

 private:
  /// Connects to the daemon for `client`, after all earlier ones. Null if that fails.
  [[nodiscard]] Task<std::shared_ptr<Connection>> Connect(Connection& client);
  /// Tries once. -1: the daemon accepts nobody now. Throws std::system_error.
  [[nodiscard]] Descriptor TryConnect() const;

  Loop& loop_;
  Log& log_;
  std::string daemonPath_;
  std::uint64_t maxPayload_;
  std::map<std::uint64_t, Connection*> waiting_;  ///< for the daemon to accept, in order
};

}  // namespace standin

#endif  // STANDIN_FORWARD_PROXY_H
