// What a command line must lead to, by the contract and the rules that this file's
// functions state. They know no line of the client: the fuzzer holds it against them.

#ifndef FUZZ_COMMAND_LINE_MODEL_H
#define FUZZ_COMMAND_LINE_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "contract/contract.h"

namespace fuzz {

/// How a run ends.
enum class Fate { REFUSED, HELP, ABORTED, EXCHANGED };

/// What the command line says of one option.
struct Given {
  bool given = false;
  std::string_view text;     ///< the last argument that was accepted
  std::uint32_t number = 0;  ///< its number, that of its name, or 1 of a flag
};

/// A command line as the model has parsed it. Texts are the caller's words.
struct ParsedLine {
  Fate fate = Fate::EXCHANGED;
  std::string diagnostic;    ///< of the client, not of getopt_long(3)
  std::vector<char*> words;  ///< as getopt_long(3) has reordered them, terminated
  std::size_t jsonCopies = 0;
  std::vector<Given> options;  ///< in the contract's order
  std::array<unsigned char, 16> uuid = {};
  std::string filePath;
  const contract::Command* command = nullptr;
  std::size_t argumentIndex = 0;  ///< of the first word after the command word; 0: none

  /// What the line says of the option with this long name, which the contract has.
  [[nodiscard]] const Given& Of(std::string_view name) const;
  [[nodiscard]] contract::ReplyMode Mode() const;
};

/// Parses a command line of at least one word. Messages of getopt_long(3) go to
/// standard error.
[[nodiscard]] ParsedLine ParseLine(const std::vector<char*>& words);

/// The payload that an exchanged command line sends.
[[nodiscard]] std::string ExpectPayload(const ParsedLine& line);

}  // namespace fuzz

#endif  // FUZZ_COMMAND_LINE_MODEL_H
