// Plays the daemon to a client: reads a request, logs it, carries out the reply.

#ifndef STANDIN_SERVER_SESSION_H
#define STANDIN_SERVER_SESSION_H

#include <cstdint>
#include <memory>

#include "log/log.h"
#include "script/script.h"
#include "server/connection.h"

namespace standin {

/// Plays the daemon to `client`, from its turn to its end. `maxPayload`: bytes that a
/// request may have.
[[nodiscard]] Task<> PlayDaemon(std::shared_ptr<Connection> client, Log& log, Script& script,
                                std::uint64_t maxPayload);

}  // namespace standin

#endif  // STANDIN_SERVER_SESSION_H
