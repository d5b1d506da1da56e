// The diagnostic texts, byte for byte.

#include "client/usage_error.h"

#include <gtest/gtest.h>

#include <string>

namespace trel {
namespace {

using enum UsageErrorKind;

std::string TextOf(UsageErrorKind kind) {
  testing::internal::CaptureStderr();
  ReportUsageError({.kind = kind, .text = "%n%s", .number = -1});
  return testing::internal::GetCapturedStderr();
}

TEST(UsageError, OfNoKindOrToldByTheLibraryIsSilent) {
  EXPECT_EQ(TextOf(NONE), "");
  EXPECT_EQ(TextOf(TOLD_BY_LIBRARY), "");
}

TEST(UsageError, HasAFixedTextForEachKind) {
  const std::vector<std::pair<UsageErrorKind, const char*>> texts = {
      {WAIT_TIMEOUT_NOT_PARSED, "Failed to parse wait timeout: %n%s\n"},
      {UUID_NOT_PARSED, "Failed to parse UUID: %n%s, length=-1\n"},
      {UUID_LIST_INVALID, "Invalid UUID: %n%s\n"},
      {FILE_PATH_TOO_LONG, "File path is longer than the max path length"},
      {DECOM_MODE_NOT_PARSED, "Failed to parse decomMode: %n%s\n"},
      {REASON_NOT_PARSED, "Failed to parse reason: %n%s\n"},
      {WORK_ITEM_UNKNOWN, "Invalid work-item type name: %n%s\n"},
      {RECOVERY_MODE_REFUSED, "Failed to parse recoveryMode: %n%s\n"},
      {DESTINATION_LIST_TOO_LONG, "Destination list is longer than max limit\n"},
      {EXCLUSION_LIST_TOO_LONG, "Exclusion list is longer than max limit\n"},
      {EXCLUSION_MODE_NOT_PARSED, "Failed to parse exclusion mode: %n%s\n"},
      {EXCLUSION_MODE_INVALID, "Invalid exclusion mode: -1\n"},
      {COMMAND_MISSING, "Command string missing\n"},
      {COMMAND_UNKNOWN, "Unrecognized command: %n%s\n"},
      {UUID_MISSING, "UUID must be provided (specify with --uuid)\n"},
      {UUID_LIST_MISSING,
       "UUID's must be provided, separated by comma (specify with --uuid-list)\n"},
      {JSON_MISSING, "Fitness config must be provided (specify with --json <json object>)\n"},
      {LOG_LEVEL_MISSING, "Log level must be specified. E.g.: trel-tool log-level 2\n"},
      {RECOVERY_TARGET_MISSING,
       "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with -u/--uuid) must "
       "be provided\n"},
      {WORK_ITEM_MISSING, "work-item type must be provided (specify with -i/--work-item)\n"},
      {CALLBACK_WORDS_MISSING, "Callback entry and event type must be provided.\n"},
      {MOVE_LISTS_NOT_ONE,
       "Either destination list(specify with -n/--destination-list) or exclusion list (specify "
       "with -x/--exclusion-list) should be provided \n"},
      {MOVE_LIST_EMPTY, "Empty destination or exclusion list not allowed."},
      {EXCLUSION_LIST_MISSING,
       "Exclusion list must be provided (specify with -x/--exclusion-list)"},
  };
  for (const auto& [kind, text] : texts) {
    EXPECT_EQ(TextOf(kind), text);
  }
}

}  // namespace
}  // namespace trel
