// One case for each payload kind: where its bytes are and how they are sent.

#include "client/request.h"

#include <cstdlib>
#include <cstring>

#include "client/payload.h"
#include "support/safe_alloc.h"

namespace trel {
namespace {

/// Builds a record with `build` and sends as much of it as that returns. Kept out
/// of line so that only the command that needs a large record pays for its frame.
template <typename Record>
[[gnu::noinline]] ReturnStatus SendRecord(int socket, CommandCode code,
                                          const ClientOptions& options,
                                          std::size_t (*build)(const ClientOptions&, Record*)) {
  Record record;
  const std::size_t length = build(options, &record);
  return SendCommand(socket, code, &record, length);
}

ReturnStatus SendTextWithTerminator(int socket, CommandCode code, const char* text) {
  return SendCommand(socket, code, text, std::strlen(text) + 1);
}

/// Kept on purpose: the word travels as typed and without its terminator, and
/// when there is none, index 0 makes it the program's name.
ReturnStatus SendLogLevelWord(int socket, CommandCode code, const ClientOptions& options,
                              char** argv) {
  const char* word = argv[options.commandArgIndex];
  return SendCommand(socket, code, word, std::strlen(word));
}

ReturnStatus SendRebalanceParams(int socket, CommandCode code, ClientOptions& options, int argc,
                                 char** argv) {
  RebalanceParams record;
  const std::size_t length = BuildRebalanceParams(options, argc, argv, &record);
  return SendCommand(socket, code, &record, length);
}

ReturnStatus SendGlobalExclusion(int socket, CommandCode code, const ClientOptions& options) {
  auto* record =
      static_cast<GlobalExclusionRequest*>(TREL_SafeCalloc(1, sizeof(GlobalExclusionRequest)));
  const std::size_t length = BuildGlobalExclusion(options, record);
  const ReturnStatus status = SendCommand(socket, code, record, length);
  std::free(record);
  return status;
}

}  // namespace

ReturnStatus BuildAndSendRequest(int socket, CommandCode code, ClientOptions& options, int argc,
                                 char** argv) {
  const CommandSpec& command = CommandOfCode(code);
  const CommandCode sent = command.code;
  switch (command.payloadKind) {
    case PayloadKind::EMPTY:
      break;
    case PayloadKind::UUID_TEXT:
      return SendRecord(socket, sent, options, BuildUuidText);
    case PayloadKind::JSON_TEXT:
      return SendTextWithTerminator(socket, sent, options.json);
    case PayloadKind::LOG_LEVEL_WORD:
      return SendLogLevelWord(socket, sent, options, argv);
    case PayloadKind::REBALANCE_PARAMS:
      return SendRebalanceParams(socket, sent, options, argc, argv);
    case PayloadKind::DECOM_WHAT_IF:
      return SendRecord(socket, sent, options, BuildDecomWhatIf);
    case PayloadKind::UPGRADE_WHAT_IF: {
      const std::size_t length = BuildUpgradeWhatIf(options);
      return SendCommand(socket, sent, &options.upgradeWhatIf, length);
    }
    case PayloadKind::RECONFIGURE:
      return SendRecord(socket, sent, options, BuildReconfigure);
    case PayloadKind::FILE_PATH_TEXT:
      return SendTextWithTerminator(socket, sent, options.filePath.data());
    case PayloadKind::UUID_AND_RECOVERY_MODE:
      return SendRecord(socket, sent, options, BuildUuidAndRecoveryMode);
    case PayloadKind::UUID_AND_ALL_FLAG:
      return SendRecord(socket, sent, options, BuildUuidAndAllFlag);
    case PayloadKind::WORK_ITEM_TEXT:
      return SendRecord(socket, sent, options, BuildWorkItemText);
    case PayloadKind::CALLBACK_BLOCK:
      return SendCallbackBlockRequest(argc, argv, options.commandArgIndex, socket, options.uuid);
    case PayloadKind::MANUAL_MOVE:
      return SendRecord(socket, sent, options, BuildManualMove);
    case PayloadKind::GLOBAL_EXCLUSION:
      return SendGlobalExclusion(socket, sent, options);
  }
  return SendCommand(socket, sent, nullptr, 0);
}

ReturnStatus SendCallbackBlockRequest(int argc, char** argv, int startIndex, int socket,
                                      const Uuid& uuid) {
  CallbackBlockSpec record;
  const std::size_t length = BuildCallbackBlock(argc, argv, startIndex, uuid, &record);
  return SendCommand(socket, CODE_BLOCK_CDB_CB, &record, length);
}

}  // namespace trel
