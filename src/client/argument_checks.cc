// Command selection and the argument checks, one case for each, with their messages.

#include "client/argument_checks.h"

#include <climits>
#include <cstdlib>

namespace trel {
namespace {

constexpr char UUID_MISSING[] = "UUID must be provided (specify with --uuid)\n";

UsageError Unless(bool passes, const char* message) {
  return passes ? UsageError{} : UsageError{.format = message};
}

/// Tests argv[longOptionIndex]; fails if there is none or if it converts to
/// ULLONG_MAX. Kept on purpose for the two checks that call it. An index beyond the
/// argument count is treated as if equal to it: the check fails, nothing is read.
bool HasWordAtLongOptionIndex(int argc, char** argv, const ClientOptions& options) {
  const int index = options.longOptionIndex;
  return index < argc && std::strtoull(argv[index], nullptr, 10) != ULLONG_MAX;
}

UsageError CheckMoveLists(const ClientOptions& options) {
  if (!options.uuidGiven) {
    return {.format = UUID_MISSING};
  }
  if (options.destinationListGiven == options.exclusionListGiven) {
    return {.format =
                "Either destination list(specify with -n/--destination-list) or exclusion list "
                "(specify with -x/--exclusion-list) should be provided \n"};
  }
  const char* list = options.destinationListGiven ? options.destinationList : options.exclusionList;
  return Unless(list[0] != '\0', "Empty destination or exclusion list not allowed.");
}

UsageError ApplyCheck(ArgumentCheck check, int argc, char** argv, const ClientOptions& options) {
  switch (check) {
    case ArgumentCheck::CHECK_NONE:
      return {};
    case ArgumentCheck::CHECK_UUID_OR_ALL:
      // Kept on purpose: --all is enough for each command with this check.
      return Unless(options.uuidGiven || options.all != 0, UUID_MISSING);
    case ArgumentCheck::CHECK_UUID_LIST:
      return Unless(options.uuidListGiven,
                    "UUID's must be provided, separated by comma (specify with --uuid-list)\n");
    case ArgumentCheck::CHECK_JSON:
      return Unless(options.jsonGiven,
                    "Fitness config must be provided (specify with --json <json object>)\n");
    case ArgumentCheck::CHECK_LOG_LEVEL:
      return Unless(HasWordAtLongOptionIndex(argc, argv, options),
                    "Log level must be specified. E.g.: trel-tool log-level 2\n");
    case ArgumentCheck::CHECK_RECOVERY_TARGET:
      return Unless(options.recoveryTargetCount > 0,
                    "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with "
                    "-u/--uuid) must be provided\n");
    case ArgumentCheck::CHECK_WORK_ITEM:
      return Unless(options.workItem != NO_WORK_ITEM,
                    "work-item type must be provided (specify with -i/--work-item)\n");
    case ArgumentCheck::CHECK_CALLBACK_WORDS:
      return Unless(HasWordAtLongOptionIndex(argc, argv, options),
                    "Callback entry and event type must be provided.\n");
    case ArgumentCheck::CHECK_MOVE_LISTS:
      return CheckMoveLists(options);
    case ArgumentCheck::CHECK_EXCLUSION_LIST:
      // Kept on purpose: an empty list passes here, unlike in CHECK_MOVE_LISTS.
      return Unless(options.exclusionListGiven,
                    "Exclusion list must be provided (specify with -x/--exclusion-list)");
  }
  __builtin_unreachable();
}

}  // namespace

UsageError SelectCommand(int argc, char** argv, int wordIndex, const CommandSpec** commandOut) {
  if (wordIndex == argc) {
    return {.format = "Command string missing\n"};
  }
  const CommandSpec* command = FindCommand(argv[wordIndex]);
  if (command == nullptr) {
    return {.format = "Unrecognized command: %s\n", .text = argv[wordIndex]};
  }
  *commandOut = command;
  return {};
}

UsageError CheckCommandArguments(const CommandSpec& command, int argc, char** argv, int wordIndex,
                                 ClientOptions& options) {
  const int next = wordIndex + 1;
  options.commandArgIndex = argc > next ? next : 0;
  return ApplyCheck(command.check, argc, argv, options);
}

}  // namespace trel
