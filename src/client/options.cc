// Option parsing: one case for each option, in the order of the option table.

#include "client/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "support/qslibs.h"

namespace trel {
namespace {

constexpr std::uint32_t RECOVERY_MODE_MAX = 7;
constexpr std::uint32_t EXCLUSION_MODE_MAX = 3;
constexpr int UUID_FIELDS_NEEDED = 8;

/// Most characters of a -n or -x text: room for a comma and a terminator. Kept
/// on purpose: one entry fewer than -l admits.
constexpr std::size_t UUID_LIST_MAX_LENGTH = UUID_LIST_CAPACITY - 2;

/// Whether the short options have `entry`, with an argument if and only if it has one.
consteval bool HasShortForm(const option& entry) {
  for (const char* letter = SHORT_OPTIONS; *letter != '\0'; ++letter) {
    if (*letter == entry.val) {
      return (letter[1] == ':') == (entry.has_arg == required_argument);
    }
  }
  return false;
}

consteval bool ShortAndLongOptionsAgree() {
  std::size_t letters = 0;
  for (const char letter : std::string_view(SHORT_OPTIONS)) {
    letters += letter != ':' ? 1 : 0;
  }
  for (std::size_t row = 0; row < OPTION_COUNT; ++row) {
    if (!HasShortForm(LONG_OPTIONS[row]) || LONG_OPTIONS[row].flag != nullptr) {
      return false;
    }
  }
  return letters == OPTION_COUNT && LONG_OPTIONS[OPTION_COUNT].name == nullptr;
}
static_assert(ShortAndLongOptionsAgree());

/// Converts `text` as all numeric options do and keeps the low 32 bits. False if
/// the number is beyond 64 bits. Kept on purpose: nothing else is an error, so a
/// text without digits is 0, what follows the digits is ignored, and -1 is
/// 4294967295.
bool ParseNumber(const char* text, std::uint32_t* number) {
  errno = 0;
  *number = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
  return errno == 0;
}

/// Kept on purpose: a text cut after its third group is accepted, and bytes that
/// it does not supply stay as they are.
UsageError ParseUuid(const char* text, Uuid& uuid) {
  // The count is the check, so the values need none: NOLINTNEXTLINE(cert-err34-c)
  const int fields = std::sscanf(
      text,
      "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%"
      "02hhx%02hhx",
      uuid.data(), &uuid[1], &uuid[2], &uuid[3], &uuid[4], &uuid[5], &uuid[6], &uuid[7], &uuid[8],
      &uuid[9], &uuid[10], &uuid[11], &uuid[12], &uuid[13], &uuid[14], &uuid[15]);
  if (fields < UUID_FIELDS_NEEDED) {
    return {.kind = UsageErrorKind::UUID_NOT_PARSED, .text = text, .number = fields};
  }
  return {};
}

/// Whether a list of `length` characters can consist of whole entries. Only the
/// length is tested, never the characters.
bool IsUuidListLength(std::size_t length) { return (length + 1) % UUID_LIST_ENTRY_SIZE == 0; }

/// -l. Kept on purpose: an empty text is refused, and a text that does not fit
/// has no message but ends the process.
UsageError CopyUuidList(const char* text, std::array<char, UUID_LIST_CAPACITY>& list) {
  const std::size_t length = std::strlen(text);
  if (!IsUuidListLength(length)) {
    return {.kind = UsageErrorKind::UUID_LIST_INVALID, .text = text};
  }
  if (length >= list.size()) {
    std::abort();
  }
  std::memcpy(list.data(), text, length + 1);
  return {};
}

/// -n and -x, into a buffer of UUID_LIST_CAPACITY bytes. Kept on purpose: an
/// empty text is accepted here.
UsageError CopyMoveList(const char* text, char* list, UsageErrorKind tooLong) {
  const std::size_t length = std::strlen(text);
  if (length != 0 && !IsUuidListLength(length)) {
    return {.kind = UsageErrorKind::UUID_LIST_INVALID, .text = text};
  }
  if (length > UUID_LIST_MAX_LENGTH) {
    return {.kind = tooLong};
  }
  std::memcpy(list, text, length + 1);
  return {};
}

/// -f. Kept on purpose: no terminator is written, so what a longer path of an
/// earlier -f had behind this one stays.
UsageError CopyFilePath(const char* text, std::array<char, FILE_PATH_MAX_LENGTH + 1>& filePath) {
  const std::size_t length = std::strlen(text);
  if (length > FILE_PATH_MAX_LENGTH) {
    return {.kind = UsageErrorKind::FILE_PATH_TOO_LONG};
  }
  std::memcpy(filePath.data(), text, length);
  return {};
}

UsageError ParseWorkItem(const char* text, WorkItemType& workItem) {
  for (const WorkItemName& row : WORK_ITEM_NAMES) {
    if (std::strcmp(row.name, text) == 0) {
      workItem = row.type;
      return {};
    }
  }
  return {.kind = UsageErrorKind::WORK_ITEM_UNKNOWN, .text = text};
}

/// Handles one option that getopt_long(3) has recognised, -h excepted.
/// `argument` is null for the options that take none.
UsageError ApplyOption(int letter, const char* argument, ClientOptions& options) {
  UsageError error;
  switch (letter) {
    case 'o':
      options.outputPath = argument;
      return {};
    case 's':
      options.socketPath = argument;
      return {};
    case 't': {
      // Kept on purpose: checked, then forgotten; the time-outs are the table's.
      std::uint32_t forgotten = 0;
      if (!ParseNumber(argument, &forgotten)) {
        return {.kind = UsageErrorKind::WAIT_TIMEOUT_NOT_PARSED, .text = argument};
      }
      return {};
    }
    case 'u':
      error = ParseUuid(argument, options.uuid);
      if (!IsError(error)) {
        options.uuidGiven = true;
        ++options.recoveryTargetCount;
      }
      return error;
    case 'l':
      error = CopyUuidList(argument, options.upgradeWhatIf.uuidList);
      options.uuidListGiven |= !IsError(error);
      return error;
    case 'j':
      options.json = UtilSafeStrdup0(argument);
      options.jsonGiven = true;
      return {};
    case 'f':
      return CopyFilePath(argument, options.filePath);
    case 'd':
      if (!ParseNumber(argument, &options.decomMode)) {
        return {.kind = UsageErrorKind::DECOM_MODE_NOT_PARSED, .text = argument};
      }
      return {};
    case 'e':
      options.ensureDurability = true;
      return {};
    case 'r':
      if (!ParseNumber(argument, &options.reason)) {
        return {.kind = UsageErrorKind::REASON_NOT_PARSED, .text = argument};
      }
      return {};
    case 'i':
      return ParseWorkItem(argument, options.workItem);
    case 'm':
      if (!ParseNumber(argument, &options.recoveryMode) ||
          options.recoveryMode > RECOVERY_MODE_MAX) {
        return {.kind = UsageErrorKind::RECOVERY_MODE_REFUSED, .text = argument};
      }
      ++options.recoveryTargetCount;
      return {};
    case 'w':
      options.wipeDisk = true;
      return {};
    case 'a':
      options.all = 1;
      return {};
    case 'n':
      error = CopyMoveList(argument, options.destinationList,
                           UsageErrorKind::DESTINATION_LIST_TOO_LONG);
      options.destinationListGiven |= !IsError(error);
      return error;
    case 'x':
      error =
          CopyMoveList(argument, options.exclusionList, UsageErrorKind::EXCLUSION_LIST_TOO_LONG);
      options.exclusionListGiven |= !IsError(error);
      return error;
    case 'X':
      if (!ParseNumber(argument, &options.exclusionMode)) {
        return {.kind = UsageErrorKind::EXCLUSION_MODE_NOT_PARSED, .text = argument};
      }
      if (options.exclusionMode > EXCLUSION_MODE_MAX) {
        return {.kind = UsageErrorKind::EXCLUSION_MODE_INVALID,
                .number = static_cast<int>(options.exclusionMode)};
      }
      return {};
    default:
      // '?': an unknown option, an ambiguous prefix or a missing argument.
      return {.kind = UsageErrorKind::TOLD_BY_LIBRARY};
  }
}

}  // namespace

ParseResult ParseOptions(int argc, char** argv, ClientOptions& options) {
  for (;;) {
    const int letter =
        getopt_long(argc, argv, SHORT_OPTIONS, LONG_OPTIONS.data(), &options.longOptionIndex);
    if (letter == -1) {
      return {.wordIndex = optind};
    }
    if (letter == 'h') {
      return {.helpAsked = true};
    }
    const UsageError error = ApplyOption(letter, optarg, options);
    if (IsError(error)) {
      return {.error = error};
    }
  }
}

}  // namespace trel
