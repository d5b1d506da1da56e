// A conversation with one client as a list of steps, played in order.

#ifndef TESTS_SUPPORT_STEPS_H
#define TESTS_SUPPORT_STEPS_H

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "core/descriptor.h"

namespace tests {

/// Reads one framed request to its end.
struct ReadRequest {};

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

using Step = std::variant<ReadRequest, SendBytes, AwaitHangUp, Call, HalfClose>;

/// Plays `steps` on `connection` and returns all bytes that the client sent and a
/// step has read. A client that vanishes ends no step list early. The connection
/// is closed at the end; with bytes of the client unread, it sees a connection reset.
std::string PlaySteps(standin::Descriptor connection, const std::vector<Step>& steps);

}  // namespace tests

#endif  // TESTS_SUPPORT_STEPS_H
