// What a command line must lead to, written down apart from the client and
// without a line of it: the fuzzer holds the client against this.

#ifndef FUZZ_COMMAND_LINE_MODEL_H
#define FUZZ_COMMAND_LINE_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

enum class Fate { REFUSED, HELP, ABORTED, EXCHANGED };

/// A command line as the model has read it. Texts are the caller's words.
struct Reading {
  Fate fate = Fate::EXCHANGED;
  std::string diagnostic;    ///< of the client, not of getopt_long(3)
  std::vector<char*> words;  ///< as getopt_long(3) has reordered them, terminated
  std::size_t jsonCopies = 0;

  std::uint32_t code = 0;
  char reply = 0;  ///< s: stream, p: print, q: quiet, n: none
  long timeoutSeconds = 0;
  int argumentIndex = 0;

  const char* outputPath = nullptr;
  std::string_view socketPath = "/var/run/treld.uds";
  std::array<unsigned char, 16> uuid = {};
  std::string_view uuidList;
  std::string_view json;
  std::string filePath;
  std::uint32_t decomMode = 0;
  bool durable = false;
  std::uint32_t reason = 0;
  std::uint32_t workItem = 0;
  std::uint32_t recoveryMode = 0;
  bool wipe = false;
  bool all = false;
  std::string_view destinations;
  std::string_view exclusions;
  std::uint32_t exclusionMode = 0;
};

/// Reads a command line of at least one word. Messages of getopt_long(3) go to
/// standard error.
[[nodiscard]] Reading ReadWords(const std::vector<char*>& words);

/// Sets `payload` to the bytes that an exchanged command line sends.
void ExpectPayload(const Reading& reading, std::string& payload);

}  // namespace fuzz

#endif  // FUZZ_COMMAND_LINE_MODEL_H
