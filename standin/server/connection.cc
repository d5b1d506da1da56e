// Each call is tried at once, and waited for only if it would block.

#include "server/connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace standin {
namespace {

/// After so many calls that did not block, the other connections have their turn.
constexpr unsigned MOST_CALLS_IN_A_ROW = 4;

/// Whoever sends in more pieces than this is slow.
constexpr unsigned MANY_RECEIVES = 16;

/// Many small pieces at once hold up everybody else: the slow are asked for half as much
/// after a call that took longer, and for twice as much after one that did not.
constexpr std::chrono::microseconds LONG_CALL(20);
constexpr std::size_t LEAST_ASKED_FOR = 32;  // bytes

}  // namespace

Connection::Connection(Loop& loop, Descriptor socket, std::uint64_t number,
                       std::chrono::milliseconds idleTime)
    : loop_(loop),
      fd_(socket.Get()),
      number_(number),
      idleTime_(idleTime),
      socket_(std::move(socket)),
      watched_(loop.context.get_executor()),
      wake_(loop.context),
      mostAtOnce_(loop.received.size()) {
  loop_.Add(*this);
}

Connection::~Connection() { loop_.Remove(*this); }

Task<> Connection::Turn() {
  using Pace = AcceptOrder::Pace;
  return loop_.order.Turn(number_, IsSlow() ? Pace::SLOW : Pace::USUAL);
}

bool Connection::IsSlow() const { return receives_ > MANY_RECEIVES; }

AsyncDescriptor& Connection::Watched() {
  if (!watched_.is_open()) {
    watched_.assign(fd_);
    (void)socket_.Release();
  }
  return watched_;
}

bool Connection::MayWait() const {
  return !abandoned_ && !idle_ &&
         (loop_.GetState() == Loop::State::RUNNING ||
          (loop_.GetState() == Loop::State::STOPPING && patient_));
}

std::optional<IoResult> Connection::ReceiveArrived(std::size_t most, std::string_view& bytes) {
  const std::size_t size = std::min(most, mostAtOnce_);
  const Clock::time_point begin = Clock::now();
  const ssize_t count = recv(fd_, loop_.received.data(), size, MSG_DONTWAIT);
  if (count == -1 && errno == EAGAIN) {
    return std::nullopt;
  }
  if (count <= 0) {
    return IoResult::HUNG_UP;
  }
  ++receives_;
  if (IsSlow()) {
    AdaptTo(Clock::now() - begin);
  }
  bytes = {loop_.received.data(), static_cast<std::size_t>(count)};
  if (capture_ != nullptr) {
    capture_->Write(number_, Capture::Direction::TO_DAEMON, bytes);
  }
  return IoResult::DONE;
}

void Connection::AdaptTo(Clock::duration time) {
  mostAtOnce_ = time > LONG_CALL ? std::max(mostAtOnce_ / 2, LEAST_ASKED_FOR)
                                 : std::min(mostAtOnce_ * 2, loop_.received.size());
}

Task<> Connection::Await(AsyncDescriptor::wait_type type) {
  inARow_ = 0;
  std::error_code ignored;
  if (idleTime_.count() == 0) {
    co_await Watched().async_wait(type, asio::redirect_error(AWAIT, ignored));
    co_return;
  }
  const Loop::IdleWait wait = loop_.BeginIdleWait(*this, idleTime_);
  co_await Watched().async_wait(type, asio::redirect_error(AWAIT, ignored));
  loop_.EndIdleWait(wait);
}

Task<IoResult> Connection::Receive(std::size_t most, std::string_view& bytes) {
  if (++inARow_ > MOST_CALLS_IN_A_ROW || IsSlow()) {
    inARow_ = 0;
    co_await Turn();
  }
  for (;;) {
    const std::optional<IoResult> result = ReceiveArrived(most, bytes);
    if (result) {
      co_return *result;
    }
    if (!MayWait()) {
      co_return idle_ ? IoResult::IDLE : IoResult::STOPPED;
    }
    co_await Await(AsyncDescriptor::wait_read);
    co_await Turn();
  }
}

Task<IoResult> Connection::Read(std::string& bytes, std::size_t size) {
  // Grown as bytes arrive: an announced length is no reason to allocate it.
  while (bytes.size() < size) {
    std::string_view arrived;
    const IoResult result = co_await Receive(size - bytes.size(), arrived);
    if (result != IoResult::DONE) {
      co_return result;
    }
    bytes += arrived;
  }
  co_return IoResult::DONE;
}

Task<IoResult> Connection::Discard(std::uint64_t count) {
  while (count > 0) {
    std::string_view arrived;
    const IoResult result = co_await Receive(count, arrived);
    if (result != IoResult::DONE) {
      co_return result;
    }
    count -= arrived.size();
  }
  co_return IoResult::DONE;
}

std::string Connection::TakeArrived() {
  std::string_view bytes;
  (void)ReceiveArrived(4096, bytes);
  return std::string(bytes);
}

Task<IoResult> Connection::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    if (++inARow_ > MOST_CALLS_IN_A_ROW) {
      inARow_ = 0;
      co_await Turn();
    }
    const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent != -1) {
      if (capture_ != nullptr) {
        capture_->Write(number_, Capture::Direction::TO_CLIENT,
                        bytes.substr(0, static_cast<std::size_t>(sent)));
      }
      bytes.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (errno != EAGAIN) {
      co_return IoResult::HUNG_UP;
    }
    if (idle_ || loop_.GetState() == Loop::State::ENDING) {
      co_return idle_ ? IoResult::IDLE : IoResult::STOPPED;
    }
    co_await Await(AsyncDescriptor::wait_write);
  }
  co_return IoResult::DONE;
}

bool Connection::IsGone() const {
  pollfd client{.fd = fd_, .events = 0, .revents = 0};
  return poll(&client, 1, 0) > 0;
}

Task<IoResult> Connection::Pause(std::chrono::milliseconds time) {
  if (time.count() == 0) {
    co_return IoResult::DONE;
  }
  const Clock::time_point end = Clock::now() + time;
  while (!IsGone() && loop_.GetState() == Loop::State::RUNNING && Clock::now() < end) {
    Watched().async_wait(AsyncDescriptor::wait_error,
                         [self = weak_from_this()](const std::error_code& error) {
                           const auto connection = self.lock();
                           if (!error && connection) {
                             connection->wake_.Notify();
                           }
                         });
    co_await wake_.WaitUntil(end);
    watched_.cancel();
  }
  co_return IsGone() ? IoResult::HUNG_UP : IoResult::DONE;
}

Task<bool> Connection::AwaitGone() {
  std::error_code ignored;
  while (!IsGone() && MayWait()) {
    co_await Watched().async_wait(AsyncDescriptor::wait_error,
                                  asio::redirect_error(AWAIT, ignored));
  }
  co_return IsGone();
}

void Connection::Abandon() {
  abandoned_ = true;
  EndWaits();
}

void Connection::EndWaits() {
  if (watched_.is_open()) {
    watched_.cancel();
  }
  wake_.Notify();
}

void Connection::BecomeIdle() {
  idle_ = true;
  EndWaits();
}

const char* TextOf(IoResult result) {
  switch (result) {
    case IoResult::IDLE:
      return "silent for too long";
    case IoResult::STOPPED:
      return "the server stops";
    case IoResult::DONE:
    case IoResult::HUNG_UP:
      break;
  }
  return "hung up";
}

}  // namespace standin
