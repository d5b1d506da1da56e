// Waiting, in order and not for ever.

#include "server/loop.h"

#include <asio/post.hpp>
#include <limits>
#include <utility>

#include "server/connection.h"

namespace standin {
namespace {

/// So many are not made to wait for more, lest clients that keep coming starve them.
constexpr std::size_t MOST_READY = 1024;

}  // namespace

Task<> Event::WaitUntil(Clock::time_point time) {
  timer_.expires_at(time);
  std::error_code ignored;
  co_await timer_.async_wait(asio::redirect_error(AWAIT, ignored));
}

Task<> AcceptOrder::Turn(std::uint64_t connection, Pace pace) {
  const auto enter = [this, connection, pace](Resume resume) {
    if (pace == Pace::SLOW) {
      slow_.push_back(std::move(resume));
    } else {
      ready_.emplace(connection, std::move(resume));
    }
    ResumeSoon();
  };
  asio::use_awaitable_t<Executor> token;
  co_await asio::async_initiate<asio::use_awaitable_t<Executor>, void()>(enter, token);
}

void AcceptOrder::ResumeSoon() {
  if (!std::exchange(resumesSoon_, true)) {
    known_ = std::numeric_limits<std::size_t>::max();
    asio::post(context_, [this] { ResumeReady(); });
  }
}

void AcceptOrder::ResumeReady() {
  if (ready_.size() != known_ && ready_.size() < MOST_READY) {
    // The loop looks for further events first.
    known_ = ready_.size();
    asio::post(context_, [this] { ResumeReady(); });
    return;
  }
  resumesSoon_ = false;
  auto ready = std::exchange(ready_, {});
  for (auto& [connection, resume] : ready) {
    std::move(resume)();
  }
  if (!slow_.empty()) {
    Resume resume = std::move(slow_.front());
    slow_.pop_front();
    std::move(resume)();
  }
  if (!slow_.empty()) {
    ResumeSoon();
  }
}

void Loop::SetState(State state) {
  state_ = state;
  for (Connection* const connection : connections_) {
    connection->EndWaits();
  }
}

Loop::IdleWait Loop::BeginIdleWait(Connection& connection, std::chrono::milliseconds time) {
  const auto wait = idle_.emplace(idle_.end(), Clock::now() + time, &connection);
  if (!idleTimerRuns_) {
    AwaitIdle();
  }
  return wait;
}

void Loop::AwaitIdle() {
  idleTimerRuns_ = !idle_.empty();
  if (!idleTimerRuns_) {
    return;
  }
  idleTimer_.expires_at(idle_.front().first);
  idleTimer_.async_wait([this](const std::error_code& /*nobody cancels*/) {
    const Clock::time_point now = Clock::now();
    for (auto wait = idle_.begin(); wait != idle_.end() && wait->first <= now; ++wait) {
      wait->second->BecomeIdle();
    }
    AwaitIdle();
  });
}

}  // namespace standin
