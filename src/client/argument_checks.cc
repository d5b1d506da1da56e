// Command selection and the ten argument checks, one case for each.

#include "client/argument_checks.h"

#include <climits>
#include <cstdlib>

namespace trel {
namespace {

/// CHECK_LOG_LEVEL and CHECK_CALLBACK_WORDS.
///
/// Kept on purpose: the word looked at stands in the place that the last long
/// option has in the option table (1 without one), and all that it must not be is
/// missing or a number that strtoul(3) turns into ULONG_MAX. A place beyond the
/// argument count is treated as if equal to it: the check fails, nothing is read.
bool HasWordInLongOptionPlace(int argc, char** argv, const ClientOptions& options) {
  const int place = options.longOptionIndex;
  return place < argc && std::strtoul(argv[place], nullptr, 10) != ULONG_MAX;
}

UsageErrorKind CheckMoveLists(const ClientOptions& options) {
  if (!options.uuidGiven) {
    return UsageErrorKind::UUID_MISSING;
  }
  if (options.destinationListGiven == options.exclusionListGiven) {
    return UsageErrorKind::MOVE_LISTS_NOT_ONE;
  }
  const char* list = options.destinationListGiven ? options.destinationList : options.exclusionList;
  return list[0] != '\0' ? UsageErrorKind::NONE : UsageErrorKind::MOVE_LIST_EMPTY;
}

UsageErrorKind ApplyCheck(ArgumentCheck check, int argc, char** argv,
                          const ClientOptions& options) {
  const auto unless = [](bool passes, UsageErrorKind kind) {
    return passes ? UsageErrorKind::NONE : kind;
  };
  switch (check) {
    case ArgumentCheck::CHECK_NONE:
      break;
    case ArgumentCheck::CHECK_UUID_OR_ALL:
      // Kept on purpose: --all is enough for each command with this check.
      return unless(options.uuidGiven || options.all != 0, UsageErrorKind::UUID_MISSING);
    case ArgumentCheck::CHECK_UUID_LIST:
      return unless(options.uuidListGiven, UsageErrorKind::UUID_LIST_MISSING);
    case ArgumentCheck::CHECK_JSON:
      return unless(options.jsonGiven, UsageErrorKind::JSON_MISSING);
    case ArgumentCheck::CHECK_LOG_LEVEL:
      return unless(HasWordInLongOptionPlace(argc, argv, options),
                    UsageErrorKind::LOG_LEVEL_MISSING);
    case ArgumentCheck::CHECK_RECOVERY_TARGET:
      return unless(options.recoveryTargetCount > 0, UsageErrorKind::RECOVERY_TARGET_MISSING);
    case ArgumentCheck::CHECK_WORK_ITEM:
      return unless(options.workItem != WorkItemType::NONE, UsageErrorKind::WORK_ITEM_MISSING);
    case ArgumentCheck::CHECK_CALLBACK_WORDS:
      return unless(HasWordInLongOptionPlace(argc, argv, options),
                    UsageErrorKind::CALLBACK_WORDS_MISSING);
    case ArgumentCheck::CHECK_MOVE_LISTS:
      return CheckMoveLists(options);
    case ArgumentCheck::CHECK_EXCLUSION_LIST:
      // Kept on purpose: an empty list passes here, unlike in CHECK_MOVE_LISTS.
      return unless(options.exclusionListGiven, UsageErrorKind::EXCLUSION_LIST_MISSING);
  }
  return UsageErrorKind::NONE;
}

}  // namespace

UsageError SelectCommand(int argc, char** argv, int wordIndex, const CommandSpec** commandOut) {
  if (wordIndex == argc) {
    return {.kind = UsageErrorKind::COMMAND_MISSING};
  }
  const CommandSpec* command = FindCommand(argv[wordIndex]);
  if (command == nullptr) {
    return {.kind = UsageErrorKind::COMMAND_UNKNOWN, .text = argv[wordIndex]};
  }
  *commandOut = command;
  return {};
}

UsageError CheckCommandArguments(const CommandSpec& command, int argc, char** argv, int wordIndex,
                                 ClientOptions& options) {
  const int next = wordIndex + 1;
  options.commandArgIndex = argc > next ? next : 0;
  return {.kind = ApplyCheck(command.check, argc, argv, options)};
}

}  // namespace trel
