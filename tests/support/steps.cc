// One overload for each type of step.

#include "tests/support/steps.h"

#include <sys/socket.h>

#include <limits>
#include <utility>

#include "tests/support/stream.h"

namespace tests {
namespace {

struct Player {
  const standin::Descriptor& connection;
  std::string& received;

  void operator()(const ReadRequest& /*step*/) const { received += ReadFrame(connection.Get()); }
  void operator()(const SendBytes& step) const { WriteAll(connection.Get(), step.bytes); }
  void operator()(const AwaitHangUp& /*step*/) const {
    received += ReadExactly(connection.Get(), std::numeric_limits<std::size_t>::max());
  }
  void operator()(const Call& step) const { step.function(connection.Get()); }
  void operator()(const HalfClose& /*step*/) const {
    // Fails on one that is closed, as a step may.
    shutdown(connection.Get(), SHUT_WR);  // NOLINT(clang-analyzer-unix.StdCLibraryFunctions)
  }
};

}  // namespace

std::string PlaySteps(standin::Descriptor connection, const std::vector<Step>& steps) {
  std::string received;
  for (const Step& step : steps) {
    std::visit(Player{connection, received}, step);
  }
  return received;
}

}  // namespace tests
