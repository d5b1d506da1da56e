// Replies and streams through the client's reply handling, over a socket pair,
// against a model: what is printed is what the daemon sent, as much as it should
// be, and the status is the right one.
//
// The first HEAD_SIZE bytes of an input choose the scene, the rest is what the
// daemon sends.

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "client/command_table.h"
#include "client/reply.h"
#include "reply_model.h"
#include "support/containment.h"

namespace fuzz {
namespace {

constexpr std::size_t HEAD_SIZE = 8;

Scene ReadScene(std::string_view input) {
  const auto head = [&](std::size_t place) { return static_cast<unsigned char>(input[place]); };
  Scene scene;
  scene.code = static_cast<std::uint32_t>(head(0) % trel::COMMAND_TABLE.size() + 1);
  scene.all = (head(1) & 1) != 0;
  scene.output = static_cast<Output>((head(1) >> 1) % 4);
  scene.sendStatus = (head(1) & 8) != 0 ? head(2) * 0x01010101U : 0;
  scene.ending = static_cast<HangUp>(head(3) % 3);
  // Packets keep their bounds, so that a stream arrives in these very pieces.
  scene.packetSize = (head(3) & 4) != 0 ? head(4) * 4U + 3U : 0;
  scene.bytes = input.substr(HEAD_SIZE);
  scene.bytes.append(head(5) * 256U + head(6), static_cast<char>(head(7)));
  if (scene.packetSize != 0) {
    scene.bytes.resize(std::min<std::size_t>(scene.bytes.size(), 100 * scene.packetSize));
    scene.ending = scene.ending == HangUp::RESET ? HangUp::PLAIN : scene.ending;
  }
  return scene;
}

/// The daemon's side of a fresh connection after it has sent all it will.
int Play(const Scene& scene, int* daemon) {
  std::array<int, 2> ends{};
  const int type = scene.packetSize != 0 ? SOCK_SEQPACKET : SOCK_STREAM;
  Require(socketpair(AF_UNIX, type, 0, ends.data()) == 0, "socketpair");
  if (scene.ending == HangUp::RESET) {
    Require(send(ends[1], "x", 1, 0) == 1, "a byte that nobody reads");
  }
  std::string_view rest = scene.bytes;
  while (!rest.empty()) {
    const std::size_t count =
        scene.packetSize != 0 ? std::min(scene.packetSize, rest.size()) : rest.size();
    Require(send(ends[0], rest.data(), count, MSG_DONTWAIT) == static_cast<ssize_t>(count),
            "all bytes fit the socket");
    rest.remove_prefix(count);
  }
  if (scene.ending == HangUp::SILENCE) {
    // A receive that would wait fails at once, as it does at the time-out.
    Require(fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0, "fcntl");
    *daemon = ends[0];
  } else {
    close(ends[0]);
    *daemon = -1;
  }
  return ends[1];
}

/// A file in memory.
class Memory {
 public:
  Memory() : fd_(memfd_create("fuzz", MFD_CLOEXEC)) { Require(fd_ >= 0, "memfd_create"); }
  ~Memory() { close(fd_); }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  [[nodiscard]] int Fd() const { return fd_; }
  [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_); }
  void Empty() const {
    Require(ftruncate(fd_, 0) == 0 && lseek(fd_, 0, SEEK_SET) == 0, "ftruncate");
  }
  [[nodiscard]] std::string Bytes() const {
    const off_t size = lseek(fd_, 0, SEEK_END);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    Require(pread(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(size), "pread");
    return bytes;
  }

 private:
  int fd_;
};

/// Standard output, the descriptor included, goes to `memory` while this lives.
class OutputInto {
 public:
  OutputInto(int fd, std::FILE* stream) : kept_(dup(STDOUT_FILENO)), stream_(stream) {
    (void)std::fflush(stdout);
    Require(dup2(fd, STDOUT_FILENO) == STDOUT_FILENO, "dup2");
  }
  ~OutputInto() {
    (void)std::fflush(stream_);
    __fpurge(stream_);  // what a descriptor that takes no bytes has left behind
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  OutputInto(const OutputInto&) = delete;
  OutputInto& operator=(const OutputInto&) = delete;

 private:
  int kept_;
  std::FILE* stream_;
};

trel::ClientOptions OptionsOf(const Scene& scene, const std::string& filePath) {
  trel::ClientOptions options;
  options.all = scene.all ? 1 : 0;
  if (scene.output == Output::FILE) {
    options.outputPath = filePath.c_str();
  } else if (scene.output == Output::NO_SUCH_FOLDER) {
    options.outputPath = "/nonexistent/folder/file";
  }
  return options;
}

void Check(const Scene& scene) {
  static const Memory OUTPUT;
  static const Memory FILE_GIVEN;
  static const std::string FILE_PATH = FILE_GIVEN.Path();
  static const int REFUSING = open("/dev/null", O_RDONLY | O_CLOEXEC);
  OUTPUT.Empty();
  FILE_GIVEN.Empty();

  int daemon = -1;
  const int socket = Play(scene, &daemon);
  const trel::ClientOptions options = OptionsOf(scene, FILE_PATH);
  std::uint32_t status = 0;
  std::string err;
  Outcome outcome;
  {
    StreamCapture errors(stderr);
    const OutputInto redirected(scene.output == Output::REFUSED ? REFUSING : OUTPUT.Fd(), stdout);
    outcome = Contain(
        [&] {
          status = trel::HandleReply(socket, trel::COMMAND_TABLE[scene.code - 1], options,
                                     scene.sendStatus);
        },
        Files::OPENED);
    err = errors.Text();
  }
  close(socket);
  close(daemon);

  const Expectation expected = Expect(scene);
  Require((outcome.ending == Ending::ABORTED) == expected.panics, "panics");
  Require(expected.panics || status == expected.status, "status");
  Require(err == expected.err, "diagnostics");
  Require(OUTPUT.Bytes() == expected.out, "output");
  Require(FILE_GIVEN.Bytes() == expected.file, "output file");
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
