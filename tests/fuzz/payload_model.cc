// The payload bytes that the model expects.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "fuzz/command_line_model.h"

namespace fuzz {
namespace {

constexpr std::size_t LIST_FIELD = 94720;

std::string Little(std::uint64_t number, int width) {
  std::string bytes;
  for (int shift = 0; shift < 8 * width; shift += 8) {
    bytes.push_back(static_cast<char>(number >> shift & 0xff));
  }
  return bytes;
}

std::string Raw(const Reading& reading) { return {reading.uuid.begin(), reading.uuid.end()}; }

std::string Hex(const Reading& reading) {
  std::string text;
  for (const unsigned char byte : reading.uuid) {
    char digits[3];
    (void)std::snprintf(digits, sizeof digits, "%02x", unsigned{byte});
    text += digits;
  }
  for (const std::size_t place : {8U, 13U, 18U, 23U}) {
    text.insert(place, 1, '-');
  }
  return text;
}

std::string Filled(std::string_view text, std::size_t size) {
  std::string bytes(text);
  bytes.resize(std::max(size, bytes.size()), '\0');
  return bytes;
}

std::string Entries(std::string_view list) { return Little((list.size() + 1) / 37, 4); }

std::string Rebalance(const Reading& reading) {
  unsigned long numbers[] = {86400, 1800, 14913081};
  double variance = 0.3;
  const auto first = static_cast<std::size_t>(reading.argumentIndex);
  const std::size_t count =
      first == 0 ? 0 : std::min<std::size_t>(reading.words.size() - 1 - first, 4);
  for (std::size_t place = 0; place < count; ++place) {
    const char* word = reading.words[first + place];
    // A word that is no number changes nothing: NOLINTBEGIN(cert-err34-c)
    if (place == 1) {
      (void)std::sscanf(word, "%lf", &variance);
    } else {
      (void)std::sscanf(word, "%lu", &numbers[place == 0 ? 0 : place - 1]);
    }  // NOLINTEND(cert-err34-c)
  }
  std::uint64_t bits = 0;
  static_assert(sizeof bits == sizeof variance);
  std::memcpy(&bits, &variance, sizeof bits);
  return Little(numbers[0], 8) + Little(bits, 8) + Little(numbers[1], 8) + Little(numbers[2], 8);
}

std::string Callbacks(const Reading& reading) {
  int event = 0;
  int entry = 0;
  for (auto place = static_cast<std::size_t>(reading.argumentIndex);
       place + 1 < reading.words.size(); ++place) {
    const std::string_view word = reading.words[place];
    event = word == "update" ? 1 : word == "add" ? 2 : word == "delete" ? 3 : event;
    entry = word == "object" ? 2 : word == "disk" ? 3 : word == "node" ? 4 : entry;
  }
  return Filled(std::to_string(event) + ":" + std::to_string(entry) + ":" + Hex(reading), 1024);
}

std::string Terminated(std::string_view text) { return std::string(text) + '\0'; }

}  // namespace

static std::string ExpectedPayload(const Reading& reading) {
  switch (reading.code) {
    case 2:
    case 8:
    case 9:
    case 14:
    case 15:
    case 23:
    case 36:
    case 37:
      return Hex(reading);
    case 4:
      return Terminated(reading.json);
    case 7:
      return reading.words[static_cast<std::size_t>(reading.argumentIndex)];
    case 10:
      return Rebalance(reading);
    case 16:
      return Raw(reading) + Little(reading.decomMode, 4) + Little(reading.durable ? 1 : 0, 4);
    case 17:
      return Raw(reading) + Little(reading.decomMode, 4) + Little(reading.reason, 4) +
             Little(reading.wipe ? 1 : 0, 4) + Entries(reading.uuidList) +
             Terminated(reading.uuidList);
    case 19:
      return Raw(reading) + Terminated(reading.filePath);
    case 20:
    case 21:
      return Terminated(reading.filePath);
    case 22:
      return Filled(Hex(reading) + std::to_string(reading.recoveryMode), 41);
    case 24:
    case 25:
      return Filled(std::to_string(reading.workItem), 4);
    case 26:
      return Filled(Hex(reading) + (reading.all ? "1" : "0"), 41);
    case 31:
      return Callbacks(reading);
    case 33:
      return Raw(reading) + Entries(reading.destinations) + Entries(reading.exclusions) +
             Filled(reading.destinations, LIST_FIELD) + Filled(reading.exclusions, LIST_FIELD);
    case 34:
      return Little(reading.exclusionMode, 4) + Entries(reading.exclusions) +
             Filled(reading.exclusions, LIST_FIELD);
    default:
      return "";
  }
}

void ExpectPayload(const Reading& reading, std::string& payload) {
  payload = ExpectedPayload(reading);
}

}  // namespace fuzz
