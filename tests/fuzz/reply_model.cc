// The model of reply handling.

#include "tests/fuzz/reply_model.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "support/qslibs.h"
#include "tests/fake/require.h"

namespace fuzz {
namespace {

using contract::ReplyMode;

constexpr std::uint32_t ERRNO_BASE = 0x2bad0000;
constexpr std::size_t PIECE = 1023;
constexpr std::size_t HEADER = 8;

/// The name of a status is the support library's affair but for three rules.
std::string NameOf(std::uint32_t status) {
  std::string name = QSR_ReturnStatusToString(status);
  fake::Require(!name.empty() && name.find(": ") == std::string::npos, "name of a status");
  const std::uint32_t error = status - ERRNO_BASE;
  const char* known = error <= 200 ? strerrordesc_np(static_cast<int>(error)) : nullptr;
  if (status != 0 && status != 0x0bad0001 && error != EAGAIN) {
    // A description with the separator in it cannot be used.
    if (known != nullptr && error != 0 && std::strstr(known, ": ") == nullptr) {
      fake::Require(name == known, "name of an error number");
    } else {
      char digits[] = "0x00000000";
      for (std::size_t place = 0; place < 8; ++place) {
        digits[9 - place] = "0123456789abcdef"[status >> 4 * place & 0xf];
      }
      fake::Require(name.find(digits) != std::string::npos, "number of an unknown status");
    }
  }
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

}  // namespace

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

}  // namespace fuzz
