// A connection on which each send arrives as a packet of its own.

#ifndef TESTS_UNIT_PACKET_PAIR_H
#define TESTS_UNIT_PACKET_PAIR_H

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

namespace tests {

class PacketPair {
 public:
  PacketPair() {
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "socketpair");
    }
  }
  ~PacketPair() {
    close(ends_[0]);
    HangUp();
  }
  PacketPair(const PacketPair&) = delete;
  PacketPair& operator=(const PacketPair&) = delete;

  /// The end that the code under test has.
  [[nodiscard]] int Client() const { return ends_[0]; }

  /// The daemon sends one packet.
  void Send(const std::string& bytes) const {
    if (send(ends_[1], bytes.data(), bytes.size(), 0) < 0) {
      throw std::system_error(errno, std::generic_category(), "send");
    }
  }

  /// What the daemon has received since the last call, packet by packet.
  [[nodiscard]] std::vector<std::string> Received() const {
    std::vector<std::string> packets;
    std::string packet(PACKET_SIZE, '\0');
    for (;;) {
      const ssize_t size = recv(ends_[1], packet.data(), packet.size(), MSG_DONTWAIT);
      if (size <= 0) {
        return packets;
      }
      packets.push_back(packet.substr(0, static_cast<std::size_t>(size)));
    }
  }

  /// The daemon closes its end.
  void HangUp() {
    if (ends_[1] >= 0) {
      close(ends_[1]);
      ends_[1] = -1;
    }
  }

 private:
  /// Larger than any request.
  static constexpr std::size_t PACKET_SIZE = 200000;
  std::array<int, 2> ends_{};
};

}  // namespace tests

#endif  // TESTS_UNIT_PACKET_PAIR_H
