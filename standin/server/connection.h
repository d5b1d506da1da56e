// A connection whose waits end: when the peer is silent for too long, or when the stand-in
// stops. What has already arrived is still read then, and what is being sent goes on for
// as long as the peer takes it.

#ifndef STANDIN_SERVER_CONNECTION_H
#define STANDIN_SERVER_CONNECTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/descriptor.h"
#include "log/capture.h"
#include "server/loop.h"

namespace standin {

enum class IoResult { DONE, HUNG_UP, IDLE, STOPPED };

/// "hung up", "silent for too long" or "the server stops". Requires: not DONE.
[[nodiscard]] const char* TextOf(IoResult result);

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  /// `socket` may block: no call waits for it. `idleTime`: the longest silence within a
  /// request; 0: any.
  Connection(Loop& loop, Descriptor socket, std::uint64_t number,
             std::chrono::milliseconds idleTime);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  [[nodiscard]] std::uint64_t Number() const { return number_; }
  [[nodiscard]] int Fd() const { return fd_; }

  /// Waits until all earlier connections that have something to do have gone on.
  [[nodiscard]] Task<> Turn();

  /// Receives from 1 to `most` bytes. `bytes` is valid until the next suspension.
  [[nodiscard]] Task<IoResult> Receive(std::size_t most, std::string_view& bytes);

  /// Appends to `bytes` until it holds `size`, or until the result says why not.
  [[nodiscard]] Task<IoResult> Read(std::string& bytes, std::size_t size);

  /// Reads and forgets up to `count` bytes.
  [[nodiscard]] Task<IoResult> Discard(std::uint64_t count);

  /// What has arrived and nobody has read, at most a few thousand bytes.
  [[nodiscard]] std::string TakeArrived();

  /// Sends all of `bytes`, which must stay valid until then.
  [[nodiscard]] Task<IoResult> Send(std::string_view bytes);

  /// Does nothing for `time`, less if the stand-in stops. HUNG_UP once the peer has.
  [[nodiscard]] Task<IoResult> Pause(std::chrono::milliseconds time);

  /// Waits until the peer has closed altogether, so that it neither sends nor reads. False
  /// if the wait ended before.
  [[nodiscard]] Task<bool> AwaitGone();

  /// Waits until `time`, or until EndWaits.
  [[nodiscard]] Task<> WaitUntil(Clock::time_point time) { return wake_.WaitUntil(time); }

  /// Writes all bytes from now on to `capture`, if there is one.
  void CaptureTo(Capture* capture) { capture_ = capture; }
  /// No silence is too long from now on.
  void AllowSilence() { idleTime_ = std::chrono::milliseconds(0); }
  /// Whether more bytes are waited for though the stand-in stops.
  void SetPatient(bool patient) { patient_ = patient; }
  /// Receives no more.
  void Abandon();

  /// Makes every wait look again at whether it is over.
  void EndWaits();
  /// The peer was silent for too long.
  void BecomeIdle();

 private:
  [[nodiscard]] bool MayWait() const;
  /// Whether the peer has closed altogether. Asked of the system: what the loop reports may be of
  /// another descriptor, one that was closed while its event was in the queue.
  [[nodiscard]] bool IsGone() const;
  [[nodiscard]] bool IsSlow() const;
  /// Asks for less or more, after a call that took `time`.
  void AdaptTo(Clock::duration time);
  /// Receives at once. None if nothing has arrived.
  [[nodiscard]] std::optional<IoResult> ReceiveArrived(std::size_t most, std::string_view& bytes);
  /// Waits for what is to be read or written, or for the end of the wait.
  [[nodiscard]] Task<> Await(AsyncDescriptor::wait_type type);
  [[nodiscard]] AsyncDescriptor& Watched();

  Loop& loop_;
  int fd_;
  std::uint64_t number_;
  std::chrono::milliseconds idleTime_;
  Descriptor socket_;        ///< until the loop watches it
  AsyncDescriptor watched_;  ///< from then on
  Event wake_;
  Capture* capture_ = nullptr;
  unsigned inARow_ = 0;    ///< calls since the last suspension
  unsigned receives_ = 0;  ///< calls that brought something
  std::size_t mostAtOnce_;
  bool patient_ = false;
  bool abandoned_ = false;
  bool idle_ = false;
};

}  // namespace standin

#endif  // STANDIN_SERVER_CONNECTION_H
