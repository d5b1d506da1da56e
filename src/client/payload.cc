// One function for each type of payload, and the texts that they share.

#include "client/payload.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "client/command_table.h"
#include "support/safe_alloc.h"

namespace trel {
namespace {

ReturnStatus Send(const Request& request, const void* payload, std::size_t length) {
  return SendCommand(request.socket, request.code, payload, length);
}

ReturnStatus SendTextWithTerminator(const Request& request, const char* text) {
  return Send(request, text, std::strlen(text) + 1);
}

std::uint32_t EntriesOfLength(std::size_t length) {
  return static_cast<std::uint32_t>((length + 1) / UUID_LIST_ENTRY_SIZE);
}

/// Copies `text` and its terminator into the list of a zero-filled record and returns
/// the number of its entries. The option parser admits no text that would not fit.
std::uint32_t FillList(const char* text, std::array<char, UUID_LIST_CAPACITY>& list) {
  const std::size_t length = std::strlen(text);
  std::memcpy(list.data(), text, length + 1);
  return EntriesOfLength(length);
}

ReturnStatus SendUuidAndNumber(const Request& request, int number) {
  std::array<char, 41> text{};
  FormatUuidText(request.options.uuid, std::span(text).first<UUID_TEXT_LENGTH + 1>());
  std::snprintf(text.data() + UUID_TEXT_LENGTH, 4, "%d", number);
  return Send(request, text.data(), std::strlen(text.data()) + 4);
}

}  // namespace

void FormatUuidText(const Uuid& uuid, std::span<char, UUID_TEXT_LENGTH + 1> text) {
  static constexpr char DIGITS[] = "0123456789abcdef";
  std::size_t index = 0;
  for (std::size_t byte = 0; byte < uuid.size(); ++byte) {
    if (byte == 4 || byte == 6 || byte == 8 || byte == 10) {
      text[index++] = '-';
    }
    text[index++] = DIGITS[uuid[byte] >> 4];
    text[index++] = DIGITS[uuid[byte] & 0xf];
  }
  text[index] = '\0';
}

std::uint32_t CountUuidListEntries(const char* text) { return EntriesOfLength(std::strlen(text)); }

ReturnStatus BuildAndSendRequest(int socket, const CommandSpec& command, ClientOptions& options,
                                 int argc, char** argv) {
  return command.sendPayload({socket, command.code, options, argc, argv});
}

ReturnStatus SendEmpty(const Request& request) { return Send(request, nullptr, 0); }

ReturnStatus SendUuidText(const Request& request) {
  UuidTextBuffer text;
  FormatUuidText(request.options.uuid, text);
  return Send(request, text.data(), UUID_TEXT_LENGTH);
}

ReturnStatus SendJsonText(const Request& request) {
  return SendTextWithTerminator(request, request.options.json);
}

ReturnStatus SendLogLevelWord(const Request& request) {
  const char* word = request.argv[request.options.commandArgIndex];
  return Send(request, word, std::strlen(word));
}

ReturnStatus SendRebalanceParams(const Request& request) {
  RebalanceParams& params = request.options.rebalanceParams;
  const int first = request.options.commandArgIndex;
  const int words = first != 0 ? request.argc - first : 0;
  // Kept on purpose: what does not convert leaves its field alone, and a number
  // that is followed by something else counts. NOLINTBEGIN(cert-err34-c)
  if (words > 0) {
    (void)std::sscanf(request.argv[first], "%" SCNu64, &params.timeSpan);
  }
  if (words > 1) {
    (void)std::sscanf(request.argv[first + 1], "%lf", &params.varianceThreshold);
  }
  if (words > 2) {
    (void)std::sscanf(request.argv[first + 2], "%" SCNu64, &params.timeThreshold);
  }
  if (words > 3) {
    (void)std::sscanf(request.argv[first + 3], "%" SCNu64, &params.rateThreshold);
  }
  // NOLINTEND(cert-err34-c)
  return Send(request, &params, sizeof params);
}

ReturnStatus SendDecomWhatIf(const Request& request) {
  DecomWhatIfRequest record{};
  record.uuid = request.options.uuid;
  record.decomMode = request.options.decomMode;
  record.ensureDurability = request.options.ensureDurability ? 1 : 0;
  return Send(request, &record, sizeof record);
}

ReturnStatus SendUpgradeWhatIf(const Request& request) {
  UpgradeWhatIfRequest& record = request.options.largeRequests->upgradeWhatIf;
  record.uuid = request.options.uuid;
  record.decomMode = request.options.decomMode;
  record.reason = request.options.reason;
  record.wipeDisk = request.options.wipeDisk ? 1 : 0;
  // The option parser has put the list there.
  const std::size_t length = std::strlen(record.uuidList.data());
  record.uuidCount = EntriesOfLength(length);
  return Send(request, &record, offsetof(UpgradeWhatIfRequest, uuidList) + length + 1);
}

ReturnStatus SendReconfigure(const Request& request) {
  ReconfigureRequest record{};
  record.uuid = request.options.uuid;
  const char* path = request.options.filePath.data();
  const std::size_t length = std::strlen(path);
  std::memcpy(record.filePath.data(), path, length);
  return Send(request, &record, offsetof(ReconfigureRequest, filePath) + length + 1);
}

ReturnStatus SendFilePathText(const Request& request) {
  return SendTextWithTerminator(request, request.options.filePath.data());
}

ReturnStatus SendUuidAndRecoveryMode(const Request& request) {
  return SendUuidAndNumber(request, static_cast<int>(request.options.recoveryMode));
}

ReturnStatus SendUuidAndAllFlag(const Request& request) {
  return SendUuidAndNumber(request, request.options.all);
}

ReturnStatus SendWorkItemText(const Request& request) {
  std::array<char, 4> text{};
  std::snprintf(text.data(), text.size(), "%u", request.options.workItem);
  return Send(request, text.data(), text.size());
}

ReturnStatus SendCallbackBlock(const Request& request) {
  return SendCallbackBlockRequest(request.argc, request.argv, request.options.commandArgIndex,
                                  request.socket, request.options.uuid);
}

ReturnStatus SendManualMove(const Request& request) {
  ManualMoveRequest& record = request.options.largeRequests->manualMove;
  record.uuid = request.options.uuid;
  record.destinationCount = FillList(request.options.destinationList, record.destinationList);
  record.exclusionCount = FillList(request.options.exclusionList, record.exclusionList);
  return Send(request, &record, sizeof record);
}

ReturnStatus SendGlobalExclusion(const Request& request) {
  auto* record =
      static_cast<GlobalExclusionRequest*>(TREL_SafeCalloc(1, sizeof(GlobalExclusionRequest)));
  record->exclusionCount = FillList(request.options.exclusionList, record->exclusionList);
  record->exclusionMode = request.options.exclusionMode;
  const ReturnStatus status = Send(request, record, sizeof *record);
  std::free(record);
  return status;
}

ReturnStatus SendCallbackBlockRequest(int argc, char** argv, int startIndex, int socket,
                                      const Uuid& uuid) {
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
  std::array<char, 1024> text{};
  std::snprintf(text.data(), text.size(), "%u:%u:%s", eventType, entryType, uuidText.data());
  return SendCommand(socket, CODE_BLOCK_CDB_CB, text.data(), text.size());
}

}  // namespace trel
