// The payload builders, one for each kind of payload that is more than a text
// taken as it stands.

#include "client/payload.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

namespace trel {
namespace {

template <typename Record>
void Clear(Record* record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  std::memset(record, 0, sizeof *record);
}

/// Copies `text` and its terminator into the list field of a cleared record. The
/// option parser admits no text that would not fit.
void CopyList(const char* text, std::array<char, UUID_LIST_CAPACITY>& list) {
  std::memcpy(list.data(), text, std::strlen(text) + 1);
}

std::size_t BuildUuidNumber(const Uuid& uuid, int number, UuidNumberText* record) {
  Clear(record);
  FormatUuidText(uuid, std::span(*record).first<UUID_TEXT_LENGTH + 1>());
  std::snprintf(record->data() + UUID_TEXT_LENGTH, 4, "%d", number);
  // Kept on purpose: the daemon expects three bytes past the terminator.
  return std::strlen(record->data()) + 4;
}

// Both are "%lu" to sscanf(3).
static_assert(std::is_same_v<decltype(RebalanceParams::timeSpan), unsigned long>);

}  // namespace

void FormatUuidText(const Uuid& uuid, std::span<char, UUID_TEXT_LENGTH + 1> text) {
  static constexpr char DIGITS[] = "0123456789abcdef";
  std::size_t place = 0;
  for (std::size_t byte = 0; byte < uuid.size(); ++byte) {
    if (byte == 4 || byte == 6 || byte == 8 || byte == 10) {
      text[place++] = '-';
    }
    text[place++] = DIGITS[uuid[byte] >> 4];
    text[place++] = DIGITS[uuid[byte] & 0xf];
  }
  text[place] = '\0';
}

std::uint32_t CountUuidListEntries(const char* text) {
  return static_cast<std::uint32_t>((std::strlen(text) + 1) / UUID_LIST_ENTRY_SIZE);
}

std::size_t BuildUuidText(const ClientOptions& options, UuidTextBuffer* record) {
  FormatUuidText(options.uuid, *record);
  return UUID_TEXT_LENGTH;
}

std::size_t BuildRebalanceParams(ClientOptions& options, int argc, char** argv,
                                 RebalanceParams* record) {
  RebalanceParams& params = options.rebalanceParams;
  const int first = options.commandArgIndex;
  const int words = first != 0 ? argc - first : 0;
  // Kept on purpose: what does not convert leaves its field alone, and a number
  // that is followed by something else counts. NOLINTBEGIN(cert-err34-c)
  if (words > 0) {
    (void)std::sscanf(argv[first], "%lu", &params.timeSpan);
  }
  if (words > 1) {
    (void)std::sscanf(argv[first + 1], "%lf", &params.varianceThreshold);
  }
  if (words > 2) {
    (void)std::sscanf(argv[first + 2], "%lu", &params.timeThreshold);
  }
  if (words > 3) {
    (void)std::sscanf(argv[first + 3], "%lu", &params.rateThreshold);
  }
  // NOLINTEND(cert-err34-c)
  *record = params;
  return sizeof *record;
}

std::size_t BuildDecomWhatIf(const ClientOptions& options, DecomWhatIfRequest* record) {
  Clear(record);
  record->uuid = options.uuid;
  record->decomMode = options.decomMode;
  record->ensureDurability = options.ensureDurability ? 1 : 0;
  return sizeof *record;
}

std::size_t BuildUpgradeWhatIf(ClientOptions& options) {
  UpgradeWhatIfRequest& record = options.upgradeWhatIf;
  record.uuid = options.uuid;
  record.decomMode = options.decomMode;
  record.reason = options.reason;
  record.wipeDisk = options.wipeDisk ? 1 : 0;
  record.reserved = {};
  record.uuidCount = CountUuidListEntries(record.uuidList.data());
  return offsetof(UpgradeWhatIfRequest, uuidList) + std::strlen(record.uuidList.data()) + 1;
}

std::size_t BuildReconfigure(const ClientOptions& options, ReconfigureRequest* record) {
  Clear(record);
  record->uuid = options.uuid;
  const std::size_t length = std::strlen(options.filePath.data());
  std::memcpy(record->filePath.data(), options.filePath.data(), length);
  return offsetof(ReconfigureRequest, filePath) + length + 1;
}

std::size_t BuildUuidAndRecoveryMode(const ClientOptions& options, UuidNumberText* record) {
  return BuildUuidNumber(options.uuid, static_cast<int>(options.recoveryMode), record);
}

std::size_t BuildUuidAndAllFlag(const ClientOptions& options, UuidNumberText* record) {
  return BuildUuidNumber(options.uuid, options.all, record);
}

std::size_t BuildWorkItemText(const ClientOptions& options, WorkItemText* record) {
  Clear(record);
  std::snprintf(record->data(), record->size(), "%u", static_cast<std::uint32_t>(options.workItem));
  return sizeof *record;
}

std::size_t BuildManualMove(const ClientOptions& options, ManualMoveRequest* record) {
  Clear(record);
  record->uuid = options.uuid;
  CopyList(options.destinationList, record->destinationList);
  CopyList(options.exclusionList, record->exclusionList);
  record->destinationCount = CountUuidListEntries(record->destinationList.data());
  record->exclusionCount = CountUuidListEntries(record->exclusionList.data());
  return sizeof *record;
}

std::size_t BuildGlobalExclusion(const ClientOptions& options, GlobalExclusionRequest* record) {
  CopyList(options.exclusionList, record->exclusionList);
  record->exclusionCount = CountUuidListEntries(record->exclusionList.data());
  record->exclusionMode = options.exclusionMode;
  return sizeof *record;
}

std::size_t BuildCallbackBlock(int argc, char** argv, int startIndex, const Uuid& uuid,
                               CallbackBlockSpec* record) {
  // Kept on purpose: no entry type has the number 1.
  struct Keyword {
    const char* word;
    std::uint32_t eventType;
    std::uint32_t entryType;
  };
  static constexpr Keyword KEYWORDS[] = {
      {"update", 1, 0}, {"add", 2, 0},  {"delete", 3, 0},
      {"object", 0, 2}, {"disk", 0, 3}, {"node", 0, 4},
  };

  std::uint32_t eventType = 0;
  std::uint32_t entryType = 0;
  for (int index = startIndex; index < argc; ++index) {
    for (const Keyword& keyword : KEYWORDS) {
      if (std::strcmp(argv[index], keyword.word) == 0) {
        eventType = keyword.eventType != 0 ? keyword.eventType : eventType;
        entryType = keyword.entryType != 0 ? keyword.entryType : entryType;
      }
    }
  }

  UuidTextBuffer uuidText;
  FormatUuidText(uuid, uuidText);
  Clear(record);
  std::snprintf(record->data(), record->size(), "%u:%u:%s", eventType, entryType, uuidText.data());
  return sizeof *record;
}

}  // namespace trel
