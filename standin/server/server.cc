// The loop of the accepting thread.

#include "server/server.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace standin {

bool Server::ClientWaits() const {
  pollfd wait{listener_.Fd(), POLLIN, 0};
  return poll(&wait, 1, 0) > 0;
}

std::size_t Server::Running() {
  const std::lock_guard lock(mutex_);
  return running_.size();
}

bool Server::MayAccept() { return Running() < limits_.maxConnections && !full_ && !CountReached(); }

bool Server::Wait(int endFd) {
  // poll(2) skips a negative descriptor.
  std::array<pollfd, 3> waits = {{{endFd, POLLIN, 0},
                                  {finishedSignal_.Fd(), POLLIN, 0},
                                  {MayAccept() ? listener_.Fd() : -1, POLLIN, 0}}};
  if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
  return waits[0].revents != 0;
}

void Server::JoinFinished() {
  finishedSignal_.Lower();
  Threads ended;
  {
    const std::lock_guard lock(mutex_);
    ended.swap(finished_);
  }
  for (std::thread& thread : ended) {
    thread.join();
    full_ = false;
  }
}

void Server::StartThread(Descriptor client) {
  const std::uint64_t connection = ++accepted_;
  const std::lock_guard lock(mutex_);
  const auto place = running_.emplace(running_.end());
  const auto serve = [this, place](Visitor visitor) {
    const std::uint64_t number = visitor.connection;
    try {
      handler_.Serve(std::move(visitor), stop_);
    } catch (const std::exception& error) {
      log_.Write(number, "failed", {{"why", error.what()}});
    }
    const std::lock_guard inner(mutex_);
    finished_.splice(finished_.end(), running_, place);
    finishedSignal_.Raise();
  };
  try {
    Turns::Turn turn = turns_.Queue(client.Get());
    *place = std::thread(serve, Visitor{std::move(client), connection, std::move(turn)});
  } catch (const std::system_error& error) {
    running_.erase(place);
    log_.Write(connection, "failed", {{"why", error.what()}});
  }
}

bool Server::AcceptOne() {
  Descriptor client;
  try {
    client = listener_.Accept();
  } catch (const std::system_error& error) {
    if (Running() == 0) {
      throw;
    }
    // Out of descriptors or memory: the end of a connection gives some back.
    log_.Write(0, "accept-failed", {{"why", error.what()}});
    full_ = true;
    return false;
  }
  StartThread(std::move(client));
  if (Running() == limits_.maxConnections) {
    log_.Write(accepted_, "limit-reached", {{"connections", limits_.maxConnections}});
  }
  return true;
}

void Server::Finish() {
  // The queue is still served, but nobody can join it any more.
  shutdown(listener_.Fd(), SHUT_RD);
  stop_.Raise();
  bool queued = !CountReached();
  while (queued || Running() > 0) {
    if (queued && Running() < limits_.maxConnections) {
      try {
        StartThread(listener_.Accept());
      } catch (const std::system_error&) {
        queued = false;  // accept(2) fails once the queue is empty
      }
      queued = queued && !CountReached();
    } else {
      pollfd wait{finishedSignal_.Fd(), POLLIN, 0};
      (void)poll(&wait, 1, -1);
    }
    JoinFinished();
  }
  JoinFinished();
}

void Server::Run(int endFd, const std::function<bool()>& shouldEnd) {
  while (!handler_.WantsToEnd() && !log_.HasFailed()) {
    if (CountReached() && Running() == 0) {
      break;
    }
    if (Wait(endFd) && shouldEnd()) {
      break;
    }
    JoinFinished();
    if (MayAccept() && ClientWaits()) {
      AcceptOne();
    }
  }
  Finish();
}

}  // namespace standin
