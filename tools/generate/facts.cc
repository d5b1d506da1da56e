// One case for each payload kind, check and reply mode.

#include "facts.h"

#include <stdexcept>

#include "client/wire_records.h"

namespace generate {
namespace {

PayloadSize Exactly(std::size_t size) { return {size, size}; }

}  // namespace

PayloadSize SizeOf(trel::PayloadKind kind) {
  using enum trel::PayloadKind;
  switch (kind) {
    case EMPTY:
      return Exactly(0);
    case UUID_TEXT:
      return Exactly(trel::UUID_TEXT_LENGTH);
    case JSON_TEXT:
      return {1, {}};
    case LOG_LEVEL_WORD:
      return {0, {}};
    case REBALANCE_PARAMS:
      return Exactly(sizeof(trel::RebalanceParams));
    case DECOM_WHAT_IF:
      return Exactly(sizeof(trel::DecomWhatIfRequest));
    case UPGRADE_WHAT_IF:
      return {offsetof(trel::UpgradeWhatIfRequest, uuidList) + trel::UUID_LIST_ENTRY_SIZE,
              sizeof(trel::UpgradeWhatIfRequest)};
    case RECONFIGURE: {
      const std::size_t least = offsetof(trel::ReconfigureRequest, filePath) + 1;
      return {least, least + trel::FILE_PATH_MAX_LENGTH};
    }
    case FILE_PATH_TEXT:
      return {1, trel::FILE_PATH_MAX_LENGTH + 1};
    case UUID_AND_RECOVERY_MODE:
    case UUID_AND_ALL_FLAG:
      return Exactly(sizeof(trel::UuidNumberText));
    case WORK_ITEM_TEXT:
      return Exactly(sizeof(trel::WorkItemText));
    case CALLBACK_BLOCK:
      return Exactly(sizeof(trel::CallbackBlockSpec));
    case MANUAL_MOVE:
      return Exactly(sizeof(trel::ManualMoveRequest));
    case GLOBAL_EXCLUSION:
      return Exactly(sizeof(trel::GlobalExclusionRequest));
  }
  throw std::logic_error("a payload kind without a size");
}

NamedFact FactOf(trel::ArgumentCheck check) {
  using enum trel::ArgumentCheck;
  switch (check) {
    case CHECK_NONE:
      return {"none", "nothing is checked"};
    case CHECK_UUID_OR_ALL:
      return {"uuid-or-all", "--uuid or --all must be given"};
    case CHECK_UUID_LIST:
      return {"uuid-list", "--uuid-list must be given"};
    case CHECK_JSON:
      return {"json", "--json must be given"};
    case CHECK_LOG_LEVEL:
      return {"log-level",
              "the word in the place that the last long option has in the option table (1 without "
              "a long option) must exist and not convert to the largest unsigned long"};
    case CHECK_RECOVERY_TARGET:
      return {"recovery-target", "--recovery-mode or --uuid must be given"};
    case CHECK_WORK_ITEM:
      return {"work-item", "--work-item must be given"};
    case CHECK_CALLBACK_WORDS:
      return {"callback-words", "the same test as log-level's"};
    case CHECK_MOVE_LISTS:
      return {"move-lists",
              "--uuid and exactly one of --destination-list and --exclusion-list must be given, "
              "and that list must not be empty"};
    case CHECK_EXCLUSION_LIST:
      return {"exclusion-list", "--exclusion-list must be given; it may be empty"};
  }
  throw std::logic_error("a check without a text");
}

NamedFact FactOf(trel::ReplyMode mode) {
  using enum trel::ReplyMode;
  switch (mode) {
    case REPLY_STREAM:
      return {"stream", "copied until the daemon hangs up"};
    case REPLY_PRINT:
      return {"print", "one frame whose text is printed"};
    case REPLY_SILENT:
      return {"silent", "one frame of which only an error is reported"};
    case REPLY_NONE:
      return {"none", "no reply is read"};
  }
  throw std::logic_error("a reply mode without a text");
}

std::string_view NameOf(ValueKind kind) {
  switch (kind) {
    case ValueKind::NONE:
      return "none";
    case ValueKind::FILE_PATH:
      return "file";
    case ValueKind::SOCKET_PATH:
      return "socket";
    case ValueKind::NUMBER:
      return "number";
    case ValueKind::UUID:
      return "uuid";
    case ValueKind::UUID_LIST:
      return "uuid-list";
    case ValueKind::JSON:
      return "json";
    case ValueKind::NAME:
      return "work-item";
  }
  throw std::logic_error("a kind of value without a name");
}

}  // namespace generate
