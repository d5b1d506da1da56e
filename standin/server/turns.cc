// A connection is silent while its thread waits for bytes and none have arrived.

#include "server/turns.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace standin {
namespace {

bool HasArrived(int fd) {
  pollfd arrived{fd, POLLIN, 0};
  return poll(&arrived, 1, 0) > 0;
}

}  // namespace

Turns::Turn Turns::Queue(int fd) {
  const std::lock_guard lock(mutex_);
  return {*this, places_.insert(places_.end(), Place{fd, false})};
}

bool Turns::IsFirst(Places::const_iterator place) const {
  return std::all_of(places_.begin(), place,
                     [](const Place& earlier) { return earlier.waits && !HasArrived(earlier.fd); });
}

Turns::Turn::Turn(Turn&& other) noexcept
    : turns_(std::exchange(other.turns_, nullptr)), place_(other.place_) {}

void Turns::Turn::Await() {
  if (turns_ != nullptr) {
    std::unique_lock lock(turns_->mutex_);
    turns_->changed_.wait(lock, [this] { return turns_->IsFirst(place_); });
  }
}

void Turns::Turn::SetWaits(bool waits) {
  if (turns_ != nullptr) {
    const std::lock_guard lock(turns_->mutex_);
    place_->waits = waits;
    turns_->changed_.notify_all();
  }
}

void Turns::Turn::Leave() {
  if (turns_ != nullptr) {
    const std::lock_guard lock(turns_->mutex_);
    turns_->places_.erase(place_);
    turns_->changed_.notify_all();
    turns_ = nullptr;
  }
}

}  // namespace standin
