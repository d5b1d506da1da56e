// Plays the daemon to a client: reads a request, logs it, carries out the reply.

#ifndef STANDIN_SERVER_SESSION_H
#define STANDIN_SERVER_SESSION_H

#include <cstdint>
#include <memory>

#include "forward/proxy.h"
#include "log/log.h"
#include "script/script.h"
#include "server/connection.h"
#include "server/handler.h"

namespace standin {

/// What the daemon that is played consists of.
struct Daemon {
  Log& log;
  Script& script;
  Handler* handler = nullptr;    ///< replies in the place of the default reply; null: none
  Proxy* proxy = nullptr;        ///< to the daemon that replies in its place without a handler
  std::uint64_t maxPayload = 0;  ///< bytes that a request may have
};

/// Plays the daemon to `client`, from its turn to its end.
[[nodiscard]] Task<> PlayDaemon(std::shared_ptr<Connection> client, Daemon daemon);

}  // namespace standin

#endif  // STANDIN_SERVER_SESSION_H
