// Option parsing: one case for each option, in the order of the option table.

#include "client/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "client/payload.h"
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
  std::ptrdiff_t letters = 0;
  for (const char letter : std::string_view(SHORT_OPTIONS)) {
    letters += letter != ':' ? 1 : 0;
  }
  const option* entry = LONG_OPTIONS;
  for (; entry->name != nullptr; ++entry) {
    if (!HasShortForm(*entry) || entry->flag != nullptr) {
      return false;
    }
  }
  return letters == entry - LONG_OPTIONS && entry + 1 == std::end(LONG_OPTIONS);
}
static_assert(ShortAndLongOptionsAgree());

/// Converts `text` as all numeric options do and keeps the low 32 bits. A number
/// beyond 64 bits is refused with the message `refusal`. Kept on purpose: nothing else
/// is an error, so a text without digits is 0, what follows the digits is ignored, and
/// -1 is 4294967295.
UsageError ParseNumber(const char* text, const char* refusal, std::uint32_t* number) {
  errno = 0;
  *number = static_cast<std::uint32_t>(std::strtoull(text, nullptr, 10));
  return errno == 0 ? UsageError{} : UsageError{.format = refusal, .text = text};
}

/// -t. Kept on purpose: checked, then forgotten; the time-outs are the table's.
UsageError ParseWaitTimeout(const char* text) {
  std::uint32_t forgotten = 0;
  return ParseNumber(text, "Failed to parse wait timeout: %s\n", &forgotten);
}

UsageError ParseRecoveryMode(const char* text, ClientOptions& options) {
  static constexpr char REFUSAL[] = "Failed to parse recoveryMode: %s\n";
  const UsageError error = ParseNumber(text, REFUSAL, &options.recoveryMode);
  if (IsError(error)) {
    return error;
  }
  if (options.recoveryMode > RECOVERY_MODE_MAX) {
    return {.format = REFUSAL, .text = text};
  }
  ++options.recoveryTargetCount;
  return {};
}

UsageError ParseExclusionMode(const char* text, ClientOptions& options) {
  const UsageError error =
      ParseNumber(text, "Failed to parse exclusion mode: %s\n", &options.exclusionMode);
  if (!IsError(error) && options.exclusionMode > EXCLUSION_MODE_MAX) {
    return {.format = "Invalid exclusion mode: %d\n",
            .number = static_cast<int>(options.exclusionMode)};
  }
  return error;
}

/// Kept on purpose: a text cut after its third group is accepted, and bytes that
/// it does not supply stay as they are.
UsageError ParseUuid(const char* text, ClientOptions& options) {
  Uuid& uuid = options.uuid;
  // The count is the check, so the values need none: NOLINTNEXTLINE(cert-err34-c)
  const int fields = std::sscanf(
      text,
      "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%"
      "02hhx%02hhx",
      uuid.data(), &uuid[1], &uuid[2], &uuid[3], &uuid[4], &uuid[5], &uuid[6], &uuid[7], &uuid[8],
      &uuid[9], &uuid[10], &uuid[11], &uuid[12], &uuid[13], &uuid[14], &uuid[15]);
  if (fields < UUID_FIELDS_NEEDED) {
    return {.format = "Failed to parse UUID: %s, length=%d\n", .text = text, .number = fields};
  }
  options.uuidGiven = true;
  ++options.recoveryTargetCount;
  return {};
}

/// Whether a list of `length` characters can consist of whole entries. Only the
/// length is tested, never the characters.
bool IsUuidListLength(std::size_t length) { return (length + 1) % UUID_LIST_ENTRY_SIZE == 0; }

constexpr char UUID_LIST_REFUSAL[] = "Invalid UUID: %s\n";

/// -l. Kept on purpose: an empty text is refused, and a text that does not fit
/// has no message but ends the process.
UsageError CopyUuidList(const char* text, ClientOptions& options) {
  const std::size_t length = std::strlen(text);
  if (!IsUuidListLength(length)) {
    return {.format = UUID_LIST_REFUSAL, .text = text};
  }
  std::array<char, UUID_LIST_CAPACITY>& list = options.largeRequests->upgradeWhatIf.uuidList;
  if (length >= list.size()) {
    std::abort();
  }
  std::memcpy(list.data(), text, length + 1);
  options.uuidListGiven = true;
  return {};
}

/// -n and -x, into a buffer of UUID_LIST_CAPACITY bytes. Kept on purpose: an
/// empty text is accepted here.
UsageError CopyMoveList(const char* text, const char* refusalOfLength, char* list, bool* given) {
  const std::size_t length = std::strlen(text);
  if (length != 0 && !IsUuidListLength(length)) {
    return {.format = UUID_LIST_REFUSAL, .text = text};
  }
  if (length > UUID_LIST_MAX_LENGTH) {
    return {.format = refusalOfLength};
  }
  std::memcpy(list, text, length + 1);
  *given = true;
  return {};
}

/// -f. Kept on purpose: no terminator is written, so after a longer path of an
/// earlier -f the rest of that path stays.
UsageError CopyFilePath(const char* text, ClientOptions& options) {
  const std::size_t length = std::strlen(text);
  if (length > FILE_PATH_MAX_LENGTH) {
    return {.format = "File path is longer than the max path length"};
  }
  std::memcpy(options.filePath.data(), text, length);
  return {};
}

UsageError ParseWorkItem(const char* text, ClientOptions& options) {
  for (const WorkItemName& row : WORK_ITEM_NAMES) {
    if (std::strcmp(row.name, text) == 0) {
      options.workItem = row.type;
      return {};
    }
  }
  return {.format = "Invalid work-item type name: %s\n", .text = text};
}

/// Handles one option that getopt_long(3) has recognised, -h excepted.
/// `argument` is null for the options that take none.
UsageError ApplyOption(int letter, const char* argument, ClientOptions& options) {
  switch (letter) {
    case 'o':
      options.outputPath = argument;
      return {};
    case 's':
      options.socketPath = argument;
      return {};
    case 't':
      return ParseWaitTimeout(argument);
    case 'u':
      return ParseUuid(argument, options);
    case 'l':
      return CopyUuidList(argument, options);
    case 'j':
      options.json = UtilSafeStrdup0(argument);
      options.jsonGiven = true;
      return {};
    case 'f':
      return CopyFilePath(argument, options);
    case 'd':
      return ParseNumber(argument, "Failed to parse decomMode: %s\n", &options.decomMode);
    case 'e':
      options.ensureDurability = true;
      return {};
    case 'r':
      return ParseNumber(argument, "Failed to parse reason: %s\n", &options.reason);
    case 'i':
      return ParseWorkItem(argument, options);
    case 'm':
      return ParseRecoveryMode(argument, options);
    case 'w':
      options.wipeDisk = true;
      return {};
    case 'a':
      options.all = 1;
      return {};
    case 'n':
      return CopyMoveList(argument, "Destination list is longer than max limit\n",
                          options.destinationList, &options.destinationListGiven);
    case 'x':
      return CopyMoveList(argument, "Exclusion list is longer than max limit\n",
                          options.exclusionList, &options.exclusionListGiven);
    case 'X':
      return ParseExclusionMode(argument, options);
    default:
      // '?': an unknown option, an ambiguous prefix or a missing argument.
      return REPORTED_BY_GETOPT;
  }
}

}  // namespace

ParseResult ParseOptions(int argc, char** argv, ClientOptions& options) {
  for (;;) {
    const int letter =
        getopt_long(argc, argv, SHORT_OPTIONS, LONG_OPTIONS, &options.longOptionIndex);
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
