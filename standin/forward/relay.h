// Stands between a client and a real daemon: bytes pass unchanged in both
// directions, half-closes and hang-ups included.

#ifndef STANDIN_FORWARD_RELAY_H
#define STANDIN_FORWARD_RELAY_H

#include <cstdint>
#include <string>

#include "log/log.h"
#include "server/handler.h"

namespace standin {

class Relay : public Handler {
 public:
  /// `daemonPath`: the socket of the daemon, connected to anew for each client.
  /// `maxPayload`: longer payloads are relayed, but not decoded.
  Relay(Log& log, std::string daemonPath, std::uint64_t maxPayload)
      : log_(log), daemonPath_(std::move(daemonPath)), maxPayload_(maxPayload) {}

  void Serve(Visitor visitor, const StopSignal& stop) override;

 private:
  Log& log_;
  std::string daemonPath_;
  std::uint64_t maxPayload_;
};

}  // namespace standin

#endif  // STANDIN_FORWARD_RELAY_H
