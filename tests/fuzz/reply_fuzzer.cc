// Replies and streams through the client's reply handling, against a model: what is
// printed is what the daemon sent, as much as it should be, and the status is the
// right one.
//
// The first HEAD_SIZE bytes of an input choose the scene, the rest is what the
// daemon sends.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/command_table.h"
#include "client/reply.h"
#include "tests/fake/require.h"
#include "tests/fake/system.h"
#include "tests/fuzz/reply_model.h"

namespace fuzz {
namespace {

using fake::Ending;
using fake::HangUp;
using fake::Outcome;
using fake::Require;
using fake::System;

constexpr std::size_t HEAD_SIZE = 8;
constexpr char OUTPUT_PATH[] = "replies/of the day";

Scene ReadScene(std::string_view input) {
  const auto head = [&](std::size_t place) { return static_cast<unsigned char>(input[place]); };
  Scene scene;
  const std::vector<contract::Command>& commands = contract::Get().commands;
  scene.command = &commands[head(0) % commands.size()];
  scene.all = (head(1) & 1) != 0;
  scene.output = static_cast<Output>((head(1) >> 1) % 4);
  scene.sendStatus = (head(1) & 8) != 0 ? head(2) * 0x01010101U : 0;
  scene.ending = static_cast<HangUp>(head(3) % 3);
  // Packets keep their bounds, so that a stream arrives in these very pieces.
  scene.packetSize = (head(3) & 4) != 0 ? head(4) * 4U + 3U : 0;
  scene.bytes = input.substr(HEAD_SIZE);
  // Half of all inputs are made longer by up to 255 bytes, half by up to 65535.
  const std::size_t unit = (head(5) & 1) != 0 ? 257 : 1;
  scene.bytes.append(head(6) * unit, static_cast<char>(head(7)));
  if (scene.packetSize != 0) {
    scene.bytes.resize(std::min<std::size_t>(scene.bytes.size(), 100 * scene.packetSize));
    scene.ending = scene.ending == HangUp::RESET ? HangUp::PLAIN : scene.ending;
  }
  return scene;
}

void Check(const Scene& scene) {
  fake::ResetSystem();
  System& system = fake::TheSystem();
  system.daemon = {.rest = scene.bytes, .packetSize = scene.packetSize, .ending = scene.ending};
  if (scene.output == Output::NO_SUCH_FOLDER) {
    system.fault = {.call = "fopen", .number = ENOENT};
  }
  system.outputRefused = scene.output == Output::REFUSED;

  trel::ClientOptions options;
  options.all = scene.all ? 1 : 0;
  if (scene.output == Output::FILE || scene.output == Output::NO_SUCH_FOLDER) {
    options.outputPath = OUTPUT_PATH;
  }
  const trel::CommandSpec* command = trel::FindCommand(scene.command->word.c_str());
  Require(command != nullptr, "the client has each command of the contract");
  std::uint32_t status = 0;
  Outcome outcome;
  {
    const fake::PrintingIntoSystem printing;
    outcome = fake::Contain([&] {
      status = trel::HandleReply(fake::DAEMON_SOCKET, *command, options, scene.sendStatus);
    });
  }

  const Expectation expected = Expect(scene);
  Require((outcome.ending == Ending::ABORTED) == expected.panics, "panics");
  Require(expected.panics || status == expected.status, "status");
  Require(system.err == expected.err, "diagnostics");
  Require(system.out == expected.out, "output");
  const bool opensFile =
      !system.calls.empty() &&
      system.calls[0].starts_with("fopen(\"" + std::string(OUTPUT_PATH) + "\", \"w\")");
  Require(opensFile == expected.opensFile, "the output file is opened first");
  Require(system.file == expected.file, "output file");
  Require(outcome.blocksHeld == (expected.payloadKept ? 1 : 0), "payloads left behind");
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < fuzz::HEAD_SIZE) {
    return -1;
  }
  fuzz::Check(fuzz::ReadScene({reinterpret_cast<const char*>(data), size}));
  return 0;
}
