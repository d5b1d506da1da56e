// accept4(2) until it would block.

#include "server/server.h"

#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace standin {
namespace {

/// How long an error of accept4(2) is waited out if no connection ends before.
constexpr std::chrono::milliseconds ACCEPT_RETRY{100};
/// So many are accepted before the connections have their turn.
constexpr int MOST_ACCEPTED_IN_A_ROW = 64;

}  // namespace

Server::Server(Loop& loop, const UnixListener& listener, Handler handler, Log& log,
               Capture* capture, const Limits& limits, Event& changed)
    : loop_(loop),
      listener_(listener),
      watched_(loop.context.get_executor(), Duplicate(listener.Fd(), "socket").Release()),
      handler_(std::move(handler)),
      log_(log),
      capture_(capture),
      limits_(limits),
      changed_(changed),
      roomMade_(loop.context) {
  watched_.non_blocking(true);
}

Task<> Server::Run() {
  for (Next next = AcceptWaiting(); next != Next::END; next = AcceptWaiting()) {
    if (next == Next::AWAIT_ROOM) {
      co_await roomMade_.Wait();
    } else if (next == Next::RETRY_LATER) {
      co_await roomMade_.WaitFor(ACCEPT_RETRY);
    } else {
      std::error_code ignored;
      co_await watched_.async_wait(AsyncDescriptor::wait_read,
                                   asio::redirect_error(AWAIT, ignored));
    }
  }
  accepting_ = false;
  changed_.Notify();
}

Server::Next Server::AcceptWaiting() {
  for (int inARow = 0;; ++inARow) {
    if (limits_.count && accepted_ >= *limits_.count) {
      return Next::END;
    }
    if (running_ >= limits_.maxConnections) {
      return Next::AWAIT_ROOM;
    }
    if (inARow == MOST_ACCEPTED_IN_A_ROW) {
      return Next::AWAIT_CLIENT;
    }
    Descriptor client(accept4(listener_.Fd(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client.IsOpen()) {
      Start(std::move(client));
    } else if (errno == EAGAIN || errno == EINVAL) {
      // Once the listener is shut down, nobody can join an empty queue.
      return loop_.GetState() == Loop::State::RUNNING ? Next::AWAIT_CLIENT : Next::END;
    } else {
      // Out of descriptors or memory: the end of a connection gives some back.
      log_.Write(0, "accept-failed", {{"why", std::generic_category().message(errno)}});
      return loop_.GetState() == Loop::State::ENDING ? Next::END : Next::RETRY_LATER;
    }
  }
}

void Server::Start(Descriptor client) {
  ++running_;
  const auto connection =
      std::make_shared<Connection>(loop_, std::move(client), ++accepted_, limits_.idleTime);
  connection->CaptureTo(capture_);
  if (running_ == limits_.maxConnections) {
    log_.Write(accepted_, "limit-reached", {{"connections", limits_.maxConnections}});
  }
  asio::co_spawn(loop_.context.get_executor(), Serve(connection), asio::detached);
}

Task<> Server::Serve(std::shared_ptr<Connection> client) {
  try {
    co_await client->Turn();
    co_await handler_(client);
  } catch (const std::exception& error) {
    log_.Write(client->Number(), "failed", {{"why", error.what()}});
  }
  --running_;
  roomMade_.Notify();
  changed_.Notify();
}

void Server::Stop() {
  // The queue is still served, but nobody can join it any more.
  shutdown(listener_.Fd(), SHUT_RD);
}

}  // namespace standin
