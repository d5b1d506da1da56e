// The diagnostic texts. Scripts match every byte of them: the missing line ends,
// the blank before a line end, "recovery-Mode" and "UUID's" are kept on purpose.

#include "client/usage_error.h"

#include "support/qslibs.h"

namespace trel {

void ReportUsageError(const UsageError& error) {
  switch (error.kind) {
    case UsageErrorKind::NONE:
    case UsageErrorKind::TOLD_BY_LIBRARY:
      return;

    case UsageErrorKind::WAIT_TIMEOUT_NOT_PARSED:
      return Warning("Failed to parse wait timeout: %s\n", error.text);
    case UsageErrorKind::UUID_NOT_PARSED:
      return Warning("Failed to parse UUID: %s, length=%d\n", error.text, error.number);
    case UsageErrorKind::UUID_LIST_INVALID:
      return Warning("Invalid UUID: %s\n", error.text);
    case UsageErrorKind::FILE_PATH_TOO_LONG:
      return Warning("File path is longer than the max path length");
    case UsageErrorKind::DECOM_MODE_NOT_PARSED:
      return Warning("Failed to parse decomMode: %s\n", error.text);
    case UsageErrorKind::REASON_NOT_PARSED:
      return Warning("Failed to parse reason: %s\n", error.text);
    case UsageErrorKind::WORK_ITEM_UNKNOWN:
      return Warning("Invalid work-item type name: %s\n", error.text);
    case UsageErrorKind::RECOVERY_MODE_REFUSED:
      return Warning("Failed to parse recoveryMode: %s\n", error.text);
    case UsageErrorKind::DESTINATION_LIST_TOO_LONG:
      return Warning("Destination list is longer than max limit\n");
    case UsageErrorKind::EXCLUSION_LIST_TOO_LONG:
      return Warning("Exclusion list is longer than max limit\n");
    case UsageErrorKind::EXCLUSION_MODE_NOT_PARSED:
      return Warning("Failed to parse exclusion mode: %s\n", error.text);
    case UsageErrorKind::EXCLUSION_MODE_INVALID:
      return Warning("Invalid exclusion mode: %d\n", error.number);

    case UsageErrorKind::COMMAND_MISSING:
      return Warning("Command string missing\n");
    case UsageErrorKind::COMMAND_UNKNOWN:
      return Warning("Unrecognized command: %s\n", error.text);
    case UsageErrorKind::UUID_MISSING:
      return Warning("UUID must be provided (specify with --uuid)\n");
    case UsageErrorKind::UUID_LIST_MISSING:
      return Warning("UUID's must be provided, separated by comma (specify with --uuid-list)\n");
    case UsageErrorKind::JSON_MISSING:
      return Warning("Fitness config must be provided (specify with --json <json object>)\n");
    case UsageErrorKind::LOG_LEVEL_MISSING:
      return Warning("Log level must be specified. E.g.: trel-tool log-level 2\n");
    case UsageErrorKind::RECOVERY_TARGET_MISSING:
      return Warning(
          "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) "
          "must be provided\n");
    case UsageErrorKind::WORK_ITEM_MISSING:
      return Warning("work-item type must be provided (specify with -i/--work-item)\n");
    case UsageErrorKind::CALLBACK_WORDS_MISSING:
      return Warning("Callback entry and event type must be provided.\n");
    case UsageErrorKind::MOVE_LISTS_NOT_ONE:
      return Warning(
          "Either destination list(specify with -n/--destination-list) or exclusion list (specify "
          "with -x/--exclusion-list) should be provided \n");
    case UsageErrorKind::MOVE_LIST_EMPTY:
      return Warning("Empty destination or exclusion list not allowed.");
    case UsageErrorKind::EXCLUSION_LIST_MISSING:
      return Warning("Exclusion list must be provided (specify with -x/--exclusion-list)");
  }
}

}  // namespace trel
