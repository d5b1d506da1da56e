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
#include "contract/contract.h"
#include "support/qslibs.h"
#include "tests/fake/require.h"
#include "tests/fake/system.h"

namespace fuzz {
namespace {

using contract::ReplyMode;
using fake::Ending;
using fake::HangUp;
using fake::Outcome;
using fake::Require;
using fake::System;

constexpr std::uint32_t ERRNO_BASE = 0x2bad0000;
constexpr std::size_t PIECE = 1023;
constexpr std::size_t HEADER = 8;
constexpr std::size_t HEAD_SIZE = 8;
constexpr char OUTPUT_PATH[] = "replies/of the day";

/// Where the client's output goes: standard output, a file given with -o, a file
/// that cannot be made, or a standard output that takes no bytes.
enum class Output { STANDARD, FILE, NO_SUCH_FOLDER, REFUSED };

struct Scene {
  const contract::Command* command = nullptr;
  bool all = false;
  Output output = Output::STANDARD;
  std::uint32_t sendStatus = 0;
  fake::HangUp ending = fake::HangUp::PLAIN;
  std::size_t packetSize = 0;  ///< 0: a stream without bounds in it
  std::string bytes;
};

struct Expectation {
  std::uint32_t status = 0;
  std::string out;
  bool opensFile = false;
  std::string file;
  std::string err;
  bool payloadKept = false;  ///< a successful reply's payload is not released
  bool panics = false;
};

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

// --- the model: what a scene must lead to, by the contract and apart from the client -------

/// The name of a status is the support library's affair, whose own tests look at each, but for
/// what parts it from the text after it.
std::string NameOf(std::uint32_t status) {
  std::string name = QSR_ReturnStatusToString(status);
  Require(!name.empty() && name.find(": ") == std::string::npos, "name of a status");
  return name;
}

std::string_view UpToZero(std::string_view bytes) { return bytes.substr(0, bytes.find('\0')); }

std::uint32_t Word(std::string_view bytes) {
  std::uint32_t word = 0;
  for (std::size_t place = 0; place < 4; ++place) {
    word = word * 256 + (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0);
  }
  return word;
}

fake::DaemonBytes BytesOf(const Scene& scene) {
  return {.rest = scene.bytes, .packetSize = scene.packetSize, .ending = scene.ending};
}

Expectation ExpectStream(const Scene& scene) {
  Expectation expected;
  expected.opensFile = scene.output == Output::FILE || scene.output == Output::NO_SUCH_FOLDER;
  if (scene.output == Output::NO_SUCH_FOLDER) {
    expected.status = ERRNO_BASE + ENOENT;
    return expected;
  }
  std::string printed;
  fake::DaemonBytes daemon = BytesOf(scene);
  for (;;) {
    const fake::DaemonBytes::Received piece = daemon.Take(PIECE, false);
    if (piece.bytes.empty()) {
      expected.status = piece.error == 0 ? 0 : ERRNO_BASE + static_cast<std::uint32_t>(piece.error);
      break;
    }
    printed += UpToZero(piece.bytes);
  }
  if (scene.output == Output::FILE) {
    expected.file = printed;
  } else if (scene.output == Output::STANDARD) {
    expected.out = printed;
  }
  return expected;
}

Expectation ExpectError(std::uint32_t status, std::string_view text) {
  Expectation expected;
  expected.status = status;
  expected.err = "Error received: " + NameOf(status) + ": ";
  expected.err += text;
  expected.err += "\n";
  return expected;
}

Expectation ExpectFrame(const Scene& scene) {
  fake::DaemonBytes daemon = BytesOf(scene);
  const fake::DaemonBytes::Received header = daemon.Take(HEADER, true);
  if (header.error != 0) {
    return ExpectError(ERRNO_BASE + static_cast<std::uint32_t>(header.error), "(null)");
  }
  std::uint32_t status = Word(header.bytes);
  std::uint32_t length = Word(header.bytes.substr(std::min<std::size_t>(4, header.bytes.size())));

  Expectation expected;
  std::string payload;
  if (length > fake::System{}.allocationLimit) {
    expected.panics = true;
    expected.err = "TREL_SafeMalloc:3116: Failed to allocate new memory\n";
    return expected;
  }
  if (length > 0) {
    const fake::DaemonBytes::Received received = daemon.Take(length, true);
    if (received.error != 0) {
      payload.assign(length, '\0');
    } else if (received.bytes.size() < length) {
      expected.err = "Failed to receive the complete UDS message sent. Please try again";
      status = 0;
      length = 0;
    } else {
      payload = received.bytes;
    }
  }
  if (status != 0) {
    return ExpectError(status, length == 0 ? "(null)" : UpToZero(payload));
  }
  expected.payloadKept = length != 0;
  if (scene.command->reply.mode == ReplyMode::PRINT) {
    if (scene.output == Output::REFUSED) {
      expected.status = ERRNO_BASE + EBADF;
    } else {
      expected.out = payload + "\n";
    }
  }
  return expected;
}

Expectation Expect(const Scene& scene) {
  const contract::Command& command = *scene.command;
  const bool othersReply = scene.all && command.with && command.with->option == "all";
  const ReplyMode mode = othersReply ? command.with->reply.mode : command.reply.mode;
  Expectation expected;
  expected.status = scene.sendStatus;
  if (mode == ReplyMode::NONE) {
    return expected;
  }
  if (scene.sendStatus != 0) {
    // A command that always streams fails without a word.
    if (command.reply.mode != ReplyMode::STREAM) {
      expected.err = "Sending command failed: " + NameOf(scene.sendStatus) + "\n";
    }
    return expected;
  }
  return mode == ReplyMode::STREAM ? ExpectStream(scene) : ExpectFrame(scene);
}

// --- the client ----------------------------------------------------------------------------

void Check(const Scene& scene) {
  fake::ResetSystem();
  System& system = fake::TheSystem();
  system.daemon = BytesOf(scene);
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
      system.calls[0].starts_with("fopen(\"" + std::string(OUTPUT_PATH) + R"(", "w"))");
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
