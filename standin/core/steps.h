// A conversation with one client as a list of steps, played in order.

#ifndef STANDIN_CORE_STEPS_H
#define STANDIN_CORE_STEPS_H

#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "core/descriptor.h"

namespace standin {

/// Reads one framed request to its end.
struct ReadRequest {};

/// Reads so many bytes.
struct ReadBytes {
  std::size_t count;
};

/// Sends the bytes as they stand.
struct SendBytes {
  std::string bytes;
};

/// Reads whatever else the client sends, until it hangs up.
struct AwaitHangUp {};

/// Calls back between two steps with the connection's descriptor, so that a driver
/// can wait, signal or look.
struct Call {
  std::function<void(int)> function;
};

/// Sends no more, but still reads.
struct HalfClose {};

/// Hangs up. With bytes of the client unread, it sees a connection reset.
struct Close {};

using Step = std::variant<ReadRequest, ReadBytes, SendBytes, AwaitHangUp, Call, HalfClose, Close>;

/// Plays `steps` on `connection` and returns all bytes that the client sent and a
/// step has read. A client that vanishes ends no step list early. The connection
/// is closed at the end.
std::string PlaySteps(Descriptor connection, const std::vector<Step>& steps);

}  // namespace standin

#endif  // STANDIN_CORE_STEPS_H
