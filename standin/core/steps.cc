// One overload for each type of step.

#include "core/steps.h"

#include <sys/socket.h>

#include <limits>
#include <utility>

#include "core/frame.h"

namespace standin {
namespace {

struct Player {
  Descriptor& connection;
  std::string& received;

  void operator()(const ReadRequest& /*step*/) const { received += ReadFrame(connection.Get()); }
  void operator()(const ReadBytes& step) const {
    received += ReadExactly(connection.Get(), step.count);
  }
  void operator()(const SendBytes& step) const { WriteAll(connection.Get(), step.bytes); }
  void operator()(const AwaitHangUp& /*step*/) const {
    received += ReadExactly(connection.Get(), std::numeric_limits<std::size_t>::max());
  }
  void operator()(const Call& step) const { step.function(connection.Get()); }
  void operator()(const HalfClose& /*step*/) const {
    // Fails on one that is closed, as a step may.
    shutdown(connection.Get(), SHUT_WR);  // NOLINT(clang-analyzer-unix.StdCLibraryFunctions)
  }
  void operator()(const Close& /*step*/) const { connection.Close(); }
};

}  // namespace

std::string PlaySteps(Descriptor connection, const std::vector<Step>& steps) {
  std::string received;
  for (const Step& step : steps) {
    std::visit(Player{connection, received}, step);
  }
  return received;
}

}  // namespace standin
