// What can be wrong with a command line, in the words for it. The parser and the
// checks hand a UsageError back; the run sequence prints it.

#ifndef TREL_CLIENT_USAGE_ERROR_H
#define TREL_CLIENT_USAGE_ERROR_H

namespace trel {

/// A message for Warning. Scripts match every byte of the messages: missing line
/// ends, blanks before a line end and spelling are kept on purpose.
struct UsageError {
  /// Format of the message, a constant: takes `text` as %s if that is not null, then
  /// `number` as %d, or neither. Null: nothing is wrong. Empty: there is no message.
  const char* format = nullptr;
  /// What the user typed; refers to the argument vector.
  const char* text = nullptr;
  int number = 0;
};

/// getopt_long(3) has printed its own message.
inline constexpr UsageError REPORTED_BY_GETOPT = {.format = ""};

[[nodiscard]] constexpr bool IsError(const UsageError& error) { return error.format != nullptr; }

/// Prints the message of `error`, if it has one, with one call of Warning.
void ReportUsageError(const UsageError& error);

}  // namespace trel

#endif  // TREL_CLIENT_USAGE_ERROR_H
