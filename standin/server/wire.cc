// poll(2) on the connection and the stop signal in front of each receive and send.

#include "server/wire.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace standin {
namespace {

constexpr std::size_t PIECE = 65536;
constexpr int FOR_EVER = -1;

}  // namespace

Wire::Wire(Visitor visitor, const StopSignal& stop, std::chrono::milliseconds idleTime)
    : visitor_(std::move(visitor)),
      stop_(stop),
      idleTime_(idleTime.count() > 0 ? static_cast<int>(idleTime.count()) : FOR_EVER) {}

Wire::End Wire::Await(short events, int timeout) const {
  std::array<pollfd, 2> waits = {{{visitor_.socket.Get(), events, 0}, {stop_.Fd(), POLLIN, 0}}};
  const int ready = poll(waits.data(), waits.size(), timeout);
  if (ready < 0) {
    return errno == EINTR ? Await(events, timeout) : End::BROKEN;
  }
  if (ready == 0) {
    return End::IDLE;
  }
  return waits[0].revents != 0 ? End::DONE : End::STOPPED;
}

Wire::End Wire::Receive(char* bytes, std::size_t size, int timeout, std::size_t& count) {
  for (;;) {
    visitor_.turn.SetWaits(true);
    const End end = Await(POLLIN, timeout);
    visitor_.turn.SetWaits(false);
    if (end != End::DONE) {
      return end;
    }
    const ssize_t received = recv(visitor_.socket.Get(), bytes, size, MSG_DONTWAIT);
    if (received > 0) {
      count = static_cast<std::size_t>(received);
      return End::DONE;
    }
    if (received == 0) {
      return End::HUNG_UP;
    }
    if (errno != EINTR && errno != EAGAIN) {
      return End::BROKEN;
    }
  }
}

Wire::End Wire::Read(std::string& bytes, std::size_t size) {
  // Grown as bytes arrive: an announced length is no reason to allocate it.
  while (bytes.size() < size) {
    const std::size_t held = bytes.size();
    bytes.resize(held + std::min(PIECE, size - held));
    std::size_t count = 0;
    const End end = Receive(bytes.data() + held, bytes.size() - held, idleTime_, count);
    bytes.resize(held + count);
    if (end != End::DONE) {
      return end;
    }
  }
  return End::DONE;
}

Wire::End Wire::Discard(std::uint64_t count) {
  std::string piece(PIECE, '\0');
  while (count > 0) {
    std::size_t received = 0;
    const End end =
        Receive(piece.data(), std::min<std::uint64_t>(count, PIECE), idleTime_, received);
    if (end != End::DONE) {
      return end;
    }
    count -= received;
  }
  return End::DONE;
}

Wire::End Wire::AwaitHangUp() {
  std::string piece(PIECE, '\0');
  for (;;) {
    std::size_t received = 0;
    const End end = Receive(piece.data(), piece.size(), FOR_EVER, received);
    if (end != End::DONE) {
      return end;
    }
  }
}

std::string Wire::TakeArrived() const {
  std::string bytes(4096, '\0');
  const ssize_t received = recv(visitor_.socket.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  bytes.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
  return bytes;
}

Wire::End Wire::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent =
        send(visitor_.socket.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (errno == EINTR) {
      continue;
    }
    if (errno != EAGAIN) {
      return End::HUNG_UP;
    }
    const End end = Await(POLLOUT, idleTime_);
    if (end != End::DONE) {
      return end;
    }
  }
  return End::DONE;
}

Wire::End Wire::Pause(std::chrono::milliseconds time) const {
  if (time.count() <= 0) {
    return End::DONE;
  }
  pollfd wait{stop_.Fd(), POLLIN, 0};
  return poll(&wait, 1, static_cast<int>(time.count())) == 0 ? End::DONE : End::STOPPED;
}

const char* TextOf(Wire::End end) {
  switch (end) {
    case Wire::End::DONE:
      return "done";
    case Wire::End::HUNG_UP:
      return "hung up";
    case Wire::End::BROKEN:
      return "broken connection";
    case Wire::End::IDLE:
      return "silent for too long";
    case Wire::End::STOPPED:
      return "the server stops";
  }
  return "";
}

}  // namespace standin
