// A flag that threads can wait for together with a socket: raised once, for all.

#ifndef STANDIN_SERVER_STOP_SIGNAL_H
#define STANDIN_SERVER_STOP_SIGNAL_H

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

#include "core/descriptor.h"

namespace standin {

class StopSignal {
 public:
  StopSignal() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_.Get() < 0) {
      throw std::system_error(errno, std::generic_category(), "eventfd");
    }
  }

  void Raise() const { (void)eventfd_write(event_.Get(), 1); }
  void Lower() const {
    eventfd_t count = 0;
    (void)eventfd_read(event_.Get(), &count);
  }

  /// Readable while the signal is raised.
  [[nodiscard]] int Fd() const { return event_.Get(); }

 private:
  Descriptor event_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_STOP_SIGNAL_H
