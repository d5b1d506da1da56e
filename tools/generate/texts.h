// What the manual, the completions and the catalogue say beyond the client's own
// tables: one row for each option and one for each command, in those tables' order.

#ifndef TOOLS_GENERATE_TEXTS_H
#define TOOLS_GENERATE_TEXTS_H

#include <array>
#include <span>
#include <string_view>

#include "client/command_table.h"
#include "client/options.h"

namespace generate {

/// A value and what it means.
struct Meaning {
  std::string_view value;
  std::string_view text;
};

/// What may stand behind an option, for the completions.
enum class ValueKind { NONE, FILE_PATH, SOCKET_PATH, NUMBER, UUID, UUID_LIST, JSON, NAME };

struct OptionText {
  char letter;
  ValueKind kind;
  std::string_view argument;  ///< its name in the manual
  std::string_view summary;   ///< one line for the completions and the catalogue
  /// The values that have a meaning; a name of the work items has none but itself.
  std::span<const Meaning> values;
  std::string_view manual;  ///< in mdoc
};

/// A word behind the command word.
struct WordText {
  std::string_view name;
  std::string_view summary;
  std::string_view unset;  ///< what holds without it, empty for nothing
  std::span<const Meaning> values;
};

struct CommandText {
  trel::CommandCode code;
  std::string_view options;   ///< letters of the options that change what it does
  std::string_view synopsis;  ///< its arguments, in mdoc
  std::string_view summary;   ///< empty: the first sentence of the help's
  std::span<const WordText> words;
  std::string_view manual;  ///< in mdoc
};

/// The letters of the options that every command takes besides its own.
inline constexpr std::string_view COMMON_OPTIONS = "hst";

/// In the order of trel::LONG_OPTIONS.
extern const std::array<OptionText, trel::OPTION_COUNT> OPTION_TEXTS;

/// In code order.
extern const std::array<CommandText, trel::COMMAND_COUNT> COMMAND_TEXTS;

/// The row of the option `letter`, which must be an option's.
[[nodiscard]] const OptionText& TextOfOption(char letter);

/// One line that tells what the command does.
[[nodiscard]] std::string_view SummaryOf(const trel::CommandSpec& command);

}  // namespace generate

#endif  // TOOLS_GENERATE_TEXTS_H
