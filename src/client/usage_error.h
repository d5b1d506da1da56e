// Everything that can be wrong with a command line, and the words for it. The
// parser and the checks hand a UsageError back; the run sequence reports it.

#ifndef TREL_CLIENT_USAGE_ERROR_H
#define TREL_CLIENT_USAGE_ERROR_H

namespace trel {

enum class UsageErrorKind {
  NONE,             ///< nothing is wrong
  TOLD_BY_LIBRARY,  ///< getopt_long(3) has printed its own message

  // Options.
  WAIT_TIMEOUT_NOT_PARSED,
  UUID_NOT_PARSED,
  UUID_LIST_INVALID,
  FILE_PATH_TOO_LONG,
  DECOM_MODE_NOT_PARSED,
  REASON_NOT_PARSED,
  WORK_ITEM_UNKNOWN,
  RECOVERY_MODE_REFUSED,
  DESTINATION_LIST_TOO_LONG,
  EXCLUSION_LIST_TOO_LONG,
  EXCLUSION_MODE_NOT_PARSED,
  EXCLUSION_MODE_INVALID,

  // The command word and the check of its arguments.
  COMMAND_MISSING,
  COMMAND_UNKNOWN,
  UUID_MISSING,
  UUID_LIST_MISSING,
  JSON_MISSING,
  LOG_LEVEL_MISSING,
  RECOVERY_TARGET_MISSING,
  WORK_ITEM_MISSING,
  CALLBACK_WORDS_MISSING,
  MOVE_LISTS_NOT_ONE,
  MOVE_LIST_EMPTY,
  EXCLUSION_LIST_MISSING,
};

struct UsageError {
  UsageErrorKind kind = UsageErrorKind::NONE;
  /// The user's text, for the messages that quote it; refers to the argument
  /// vector.
  const char* text = nullptr;
  /// The number, for the messages that show one.
  int number = 0;
};

[[nodiscard]] constexpr bool IsError(const UsageError& error) {
  return error.kind != UsageErrorKind::NONE;
}

/// Prints the message of `error` with one call of Warning, or nothing for the
/// first two kinds. Some messages have no line end; scripts match them so.
void ReportUsageError(const UsageError& error);

}  // namespace trel

#endif  // TREL_CLIENT_USAGE_ERROR_H
