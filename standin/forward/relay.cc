// Two directions on one thread, each with a buffer of its own.

#include "forward/relay.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/unix_connect.h"
#include "forward/traffic.h"

namespace standin {
namespace {

/// Bytes on their way from one socket to the other.
class Direction {
 public:
  Direction(int from, int to, std::function<void(std::string_view)> look)
      : from_(from), to_(to), look_(std::move(look)) {}

  [[nodiscard]] bool Ended() const { return ended_; }
  [[nodiscard]] bool WantsToRead() const { return !ended_ && held_.empty(); }
  [[nodiscard]] bool WantsToWrite() const { return !ended_ && !held_.empty(); }

  void Read() {
    const ssize_t count = recv(from_, piece_.data(), piece_.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
      return;
    }
    if (count <= 0) {
      shutdown(to_, SHUT_WR);
      ended_ = true;
      return;
    }
    held_ = std::string_view(piece_.data(), static_cast<std::size_t>(count));
    look_(held_);
    Write();
  }

  void Write() {
    const ssize_t count = send(to_, held_.data(), held_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      held_.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
      // Nobody takes it any more: the sender finds out as it would have directly.
      held_ = {};
      shutdown(from_, SHUT_RD);
      ended_ = true;
    }
  }

 private:
  int from_;
  int to_;
  std::function<void(std::string_view)> look_;
  std::array<char, 65536> piece_{};
  std::string_view held_;  ///< what of `piece_` is still to be written
  bool ended_ = false;
};

/// Whether the peer has closed altogether, so that it neither sends nor reads.
bool IsGone(const pollfd& wait) { return (wait.revents & (POLLHUP | POLLERR)) != 0; }

/// What to wait for on a socket that `in` reads from and `out` writes to. Without
/// a wish nothing at all, lest a hang-up ends each wait while bytes of `in` are
/// still on their way.
pollfd WaitFor(int fd, const Direction& in, const Direction& out) {
  const int events = (in.WantsToRead() ? POLLIN : 0) | (out.WantsToWrite() ? POLLOUT : 0);
  return {events != 0 || in.Ended() ? fd : -1, static_cast<short>(events), 0};
}

/// Relays until both directions have ended, one side is gone and all that it sent
/// is delivered, or the server stops and nothing is on its way.
void Pump(int client, int daemon, const StopSignal& stop, Traffic& traffic) {
  Direction request(client, daemon, [&](std::string_view bytes) { traffic.FromClient(bytes); });
  Direction reply(daemon, client, [&](std::string_view bytes) { traffic.FromDaemon(bytes); });
  while (!request.Ended() || !reply.Ended()) {
    std::array<pollfd, 3> waits = {
        {WaitFor(client, request, reply), WaitFor(daemon, reply, request), {stop.Fd(), POLLIN, 0}}};
    if (poll(waits.data(), waits.size(), -1) < 0) {
      continue;
    }
    if (waits[0].revents == 0 && waits[1].revents == 0) {
      return;
    }
    if (request.WantsToWrite()) {
      request.Write();
    } else if (request.WantsToRead() && waits[0].revents != 0) {
      request.Read();
    }
    if (reply.WantsToWrite()) {
      reply.Write();
    } else if (reply.WantsToRead() && waits[1].revents != 0) {
      reply.Read();
    }
    if ((request.Ended() && IsGone(waits[0])) || (reply.Ended() && IsGone(waits[1]))) {
      return;
    }
  }
}

}  // namespace

void Relay::Serve(Visitor visitor, const StopSignal& stop) {
  Descriptor daemon;
  try {
    visitor.turn.Await();
    daemon = ConnectTo(daemonPath_);
    visitor.turn.Leave();
  } catch (const std::exception& error) {
    log_.Write(visitor.connection, "daemon-unreachable", {{"why", error.what()}});
    return;
  }
  Traffic traffic(log_, visitor.connection, maxPayload_);
  Pump(visitor.socket.Get(), daemon.Get(), stop, traffic);
  traffic.End();
}

}  // namespace standin
