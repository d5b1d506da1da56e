// The one event loop, and what all its waits have in common: they end when the stand-in
// stops, and connections go on in the order in which they were accepted.

#ifndef STANDIN_SERVER_LOOP_H
#define STANDIN_SERVER_LOOP_H

#include <array>
#include <asio/awaitable.hpp>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/basic_stream_descriptor.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <set>

namespace standin {

using Clock = std::chrono::steady_clock;
using Executor = asio::io_context::executor_type;
template <typename Result = void>
using Task = asio::awaitable<Result, Executor>;
using Timer = asio::basic_waitable_timer<Clock, asio::wait_traits<Clock>, Executor>;
using AsyncDescriptor = asio::posix::basic_stream_descriptor<Executor>;
inline constexpr asio::use_awaitable_t<Executor> AWAIT{};

class Connection;

/// Something that a coroutine waits for: it looks at its condition again after each
/// notification. Notifications while nobody waits are not kept.
class Event {
 public:
  explicit Event(asio::io_context& context) : timer_(context.get_executor()) {}
  void Notify() { timer_.cancel(); }
  [[nodiscard]] Task<> Wait() { return WaitUntil(Clock::time_point::max()); }
  [[nodiscard]] Task<> WaitUntil(Clock::time_point time);
  [[nodiscard]] Task<> WaitFor(std::chrono::milliseconds time) {
    return WaitUntil(Clock::now() + time);
  }

 private:
  Timer timer_;
};

/// Resumes connections in accept order: a request that has arrived is never passed by one
/// of a later connection. The slow, who send in many pieces, are resumed one at a time, each
/// after all others, so that nobody waits for more than one piece of theirs.
class AcceptOrder {
 public:
  enum class Pace { USUAL, SLOW };

  explicit AcceptOrder(asio::io_context& context) : context_(context) {}

  /// Suspends `connection` until all that has happened by now is known, and all earlier
  /// connections that are ready have gone on.
  [[nodiscard]] Task<> Turn(std::uint64_t connection, Pace pace);

 private:
  using Resume = asio::async_result<asio::use_awaitable_t<Executor>, void()>::handler_type;

  void ResumeSoon();
  void ResumeReady();

  asio::io_context& context_;
  std::multimap<std::uint64_t, Resume> ready_;
  std::deque<Resume> slow_;
  std::size_t known_ = 0;  ///< of `ready_`, when the loop was last asked for more
  bool resumesSoon_ = false;
};

class Loop {
 public:
  /// RUNNING; STOPPING: no wait for more bytes or for a pause; ENDING: no wait at all.
  enum class State { RUNNING, STOPPING, ENDING };

  Loop() = default;
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  [[nodiscard]] State GetState() const { return state_; }
  /// Goes on to `state` and ends the waits that are over in it.
  void SetState(State state);

  /// Connections register for their lifetime.
  void Add(Connection& connection) { connections_.insert(&connection); }
  void Remove(Connection& connection) { connections_.erase(&connection); }

  using IdleWait = std::list<std::pair<Clock::time_point, Connection*>>::iterator;
  /// Tells `connection` when it has waited for `time`, the same for all. To be ended with
  /// EndIdleWait.
  [[nodiscard]] IdleWait BeginIdleWait(Connection& connection, std::chrono::milliseconds time);
  void EndIdleWait(IdleWait wait) { idle_.erase(wait); }

  asio::io_context context{1};
  AcceptOrder order{context};
  /// What was received last. Valid until the next suspension.
  std::array<char, 65536> received{};

 private:
  void AwaitIdle();

  State state_ = State::RUNNING;
  std::set<Connection*> connections_;
  std::list<std::pair<Clock::time_point, Connection*>> idle_;  ///< the next to end first
  Timer idleTimer_{context.get_executor()};
  bool idleTimerRuns_ = false;
};

}  // namespace standin

#endif  // STANDIN_SERVER_LOOP_H
