// The file's header, then a header for each packet, in the host's byte order.

#include "log/capture.h"

#include <algorithm>
#include <bit>
#include <ctime>
#include <string>
#include <utility>

#include "core/frame.h"

namespace standin {
namespace {

constexpr std::uint32_t MAGIC = 0xa1b23c4d;  // nanoseconds
constexpr std::uint32_t LINK_TYPE = 147;
constexpr std::uint32_t ORDER = std::endian::native == std::endian::big ? 1U << 16U : 0;
constexpr std::size_t PSEUDO_HEADER = 8;
constexpr std::size_t MOST_OF_A_PACKET = 65536;

void AddWord(std::string& bytes, std::uint32_t word) {
  bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
}

}  // namespace

Capture::Capture(Output& output) : output_(output) {
  std::string header;
  // Version 2.4 is two words of 16 bits each.
  const std::uint16_t major = 2;
  const std::uint16_t minor = 4;
  AddWord(header, MAGIC);
  header.append(reinterpret_cast<const char*>(&major), sizeof major);
  header.append(reinterpret_cast<const char*>(&minor), sizeof minor);
  AddWord(header, 0);
  AddWord(header, 0);
  AddWord(header, PSEUDO_HEADER + MOST_OF_A_PACKET);
  AddWord(header, LINK_TYPE);
  output_.Write(std::move(header));
}

void Capture::Write(std::uint64_t connection, Direction direction, std::string_view bytes) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), MOST_OF_A_PACKET))) {
    const std::string_view piece = bytes.substr(0, MOST_OF_A_PACKET);
    const auto size = static_cast<std::uint32_t>(PSEUDO_HEADER + piece.size());
    std::string packet;
    AddWord(packet, static_cast<std::uint32_t>(now.tv_sec));
    AddWord(packet, static_cast<std::uint32_t>(now.tv_nsec));
    AddWord(packet, size);
    AddWord(packet, size);
    packet += EncodeHeader({.word = static_cast<std::uint32_t>(connection),
                            .length = static_cast<std::uint32_t>(direction) << 24U | ORDER});
    packet += piece;
    output_.Write(std::move(packet));
  }
}

}  // namespace standin
