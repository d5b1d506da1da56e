// A daemon for measuring: one process that serves one client after another, as
// fast as the socket allows, and says nothing.
//
//   bench-standin SOCKET BYTES    answers `stats` with a stream of BYTES and every
//                                 other command with a successful reply of BYTES

#include <algorithm>
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

#include "core/frame.h"
#include "core/unix_socket.h"
#include "tests/support/stream.h"

namespace {

constexpr std::uint32_t STATS = 1;
constexpr std::size_t PIECE_SIZE = 262144;

void Serve(int connection, std::uint32_t bytes, const std::string& piece) {
  const std::string request = tests::ReadFrame(connection);
  if (request.size() < standin::HEADER_SIZE) {
    return;
  }
  std::string first;
  if (standin::DecodeHeader(request).word != STATS) {
    first = standin::EncodeHeader({.word = 0, .length = bytes});
  }
  std::uint32_t left = bytes;
  // A small reply goes out with its header, so that the client wakes up once.
  if (left <= piece.size()) {
    first.append(piece, 0, left);
    left = 0;
  }
  bool heard = tests::WriteAll(connection, first);
  while (heard && left != 0) {
    const auto count = std::min<std::uint32_t>(left, PIECE_SIZE);
    heard = tests::WriteAll(connection, {piece.data(), count});
    left -= count;
  }
}

std::string TextOf(std::size_t size) {
  std::string text(size, 'x');
  for (std::size_t place = 79; place < size; place += 80) {
    text[place] = '\n';
  }
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench-standin SOCKET BYTES\n";
    return 2;
  }
  try {
    const auto bytes = static_cast<std::uint32_t>(std::stoul(argv[2]));
    const std::string piece = TextOf(PIECE_SIZE);
    const standin::UnixListener listener(argv[1]);
    for (;;) {
      Serve(tests::Accept(listener).Get(), bytes, piece);
    }
  } catch (const std::exception& error) {
    std::cerr << "bench-standin: " << error.what() << '\n';
    return 1;
  }
}
