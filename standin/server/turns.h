// Keeps requests in the order in which their clients connected. A client that waits
// for no reply is gone before the next one connects, and without an order their two
// threads would race: a log or a strict sequence could show the second one first.

#ifndef STANDIN_SERVER_TURNS_H
#define STANDIN_SERVER_TURNS_H

#include <condition_variable>
#include <list>
#include <mutex>

namespace standin {

/// The connections whose requests have not been taken yet, first come first. Must
/// outlive every Turn.
class Turns {
  struct Place {
    int fd;
    bool waits;  ///< the thread waits for bytes, or is about to
  };
  using Places = std::list<Place>;

 public:
  /// One connection's place in the order, given up with Leave() or at the end. To be
  /// used by one thread.
  class Turn {
   public:
    Turn(Turn&& other) noexcept;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    Turn& operator=(Turn&&) = delete;
    ~Turn() { Leave(); }

    /// Blocks for as long as an earlier connection has bytes that nobody has taken. One
    /// that is silent is not waited for.
    void Await();

    /// Tells that the thread is going to wait for bytes, or has done so.
    void SetWaits(bool waits);

    /// The request has been taken: later ones need not wait for it.
    void Leave();

   private:
    friend class Turns;
    Turn(Turns& turns, Places::iterator place) : turns_(&turns), place_(place) {}

    Turns* turns_;  ///< null once left
    Places::iterator place_;
  };

  /// Takes the last place, for the connection `fd`, which must stay open until the
  /// place is left.
  [[nodiscard]] Turn Queue(int fd);

 private:
  /// Whether all before `place` are silent. The caller holds the mutex.
  [[nodiscard]] bool IsFirst(Places::const_iterator place) const;

  std::mutex mutex_;
  std::condition_variable changed_;
  Places places_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_TURNS_H
