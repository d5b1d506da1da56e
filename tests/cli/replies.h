// What the daemon tests have in common: reply frames by hand, long texts, and the
// runs of the two framed commands.

#ifndef TESTS_CLI_REPLIES_H
#define TESTS_CLI_REPLIES_H

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/client.h"

namespace tests {

/// A framed command that prints a successful payload, one that does not.
inline const std::string PRINTING = "fitness-stats-get";
inline const std::string SILENT_ONE = "what-if-cancel";

inline const std::string SHORT_PAYLOAD_WARNING =
    "Failed to receive the complete UDS message sent. Please try again";

/// Bounds the client's memory: far from the payloads that daemons announce here, and more than
/// the tests themselves hold.
inline constexpr long FEW_KIB = 256 * 1024;

/// The reply header of `status`, eight hexadecimal digits, and a length.
[[nodiscard]] inline std::string Header(const std::string& status, std::size_t length) {
  std::ostringstream digits;
  digits << std::hex << std::setw(8) << std::setfill('0') << length;
  return FromHex(status) + FromHex(digits.str());
}

/// A whole reply.
[[nodiscard]] inline std::string Frame(const std::string& status, const std::string& payload) {
  return Header(status, payload.size()) + payload;
}

/// `size` characters of which no two near each other agree, and none is zero.
[[nodiscard]] inline std::string Text(std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += std::to_string(text.size()) + ",";
  }
  return text.substr(0, size);
}

/// Runs `word` against a daemon that reads the request, sends `bytes` and hangs up.
[[nodiscard]] inline ClientResult RunWithReply(const std::string& word, const std::string& bytes) {
  return RunClientAgainst({.words = {word}, .steps = {ReadRequest{}, SendBytes{bytes}}});
}

}  // namespace tests

#endif  // TESTS_CLI_REPLIES_H
