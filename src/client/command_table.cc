// The rows of the command table, and the compiler's proof that they are sound.
//
// Columns: command word, code, argument check, receive time-out (seconds), reply
// mode, the function that builds and sends the payload; on the next line the
// description for the help text, whose wording and spelling scripts and people know
// and which stays as it is.

#include "client/command_table.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace trel {
namespace {

using enum ArgumentCheck;
using enum ReplyMode;

constexpr std::uint32_t DEFAULT = RECEIVE_TIMEOUT_DEFAULT;
constexpr std::uint32_t LONG = RECEIVE_TIMEOUT_LONG;
constexpr std::uint32_t UPGRADE = RECEIVE_TIMEOUT_UPGRADE;

/// Kept on purpose: these commands work like any other; only the help is silent.
constexpr const char* NOT_LISTED = nullptr;

// clang-format off
constexpr auto ROWS = std::to_array<CommandSpec>({
    {"stats",                               1,  CHECK_NONE,            DEFAULT, REPLY_STREAM, SendEmpty,
     "Retrieve TREL stats"},
    {"crawler",                             2,  CHECK_UUID_OR_ALL,     DEFAULT, REPLY_SILENT, SendUuidText,
     "Queue crawler run on an object specified by -u/--uuid"},
    {"fitness-config-get",                  3,  CHECK_NONE,            DEFAULT, REPLY_PRINT,  SendEmpty,
     NOT_LISTED},
    {"fitness-config-set",                  4,  CHECK_JSON,            DEFAULT, REPLY_SILENT, SendJsonText,
     NOT_LISTED},
    {"fitness-config-reset",                5,  CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     NOT_LISTED},
    {"fitness-stats-get",                   6,  CHECK_NONE,            DEFAULT, REPLY_PRINT,  SendEmpty,
     "Get current fitness stats for each disk"},
    {"log-level",                           7,  CHECK_LOG_LEVEL,       DEFAULT, REPLY_SILENT, SendLogLevelWord,
     "Set treld log level."},
    {"fix-object-immediate",                8,  CHECK_NONE,            DEFAULT, REPLY_SILENT, SendUuidText,
     "Fix absent and degraded components in object immediately"},
    {"get-object-last-operation",           9,  CHECK_NONE,            DEFAULT, REPLY_PRINT,  SendUuidText,
     NOT_LISTED},
    {"start-proactive-rebalance",           10, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendRebalanceParams,
     "Start proactive rebalance. Usage: start-proactive-rebalance [time_span (sec) [variance "
     "threshold (0-1) [time threshold (sec) [rate threshold (MB/hr)]]]]. The word default may be "
     "also be used instead of a numeric value. Example: start-proactive-rebalance 3600 0.3 default"
     " 1024"},
    {"stop-proactive-rebalance",            11, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "Stop proactive rebalance"},
    {"info-proactive-rebalance",            12, CHECK_NONE,            DEFAULT, REPLY_PRINT,  SendEmpty,
     "Get the info of proactive rebalance"},
    {"fix-concats",                         13, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "Fix concats for all objects owned by the node now"},
    {"info-rebalance",                      14, CHECK_UUID_OR_ALL,     DEFAULT, REPLY_PRINT,  SendUuidText,
     "Get the info of rebalance for a disk specified by -u/--uuid"},
    {"resources-to-fix-unhealthy-objects",  15, CHECK_NONE,            LONG,    REPLY_PRINT,  SendUuidText,
     "Resources required to fix unhealthy objects"},
    {"what-if-entity-decom",                16, CHECK_UUID_OR_ALL,     LONG,    REPLY_PRINT,  SendDecomWhatIf,
     "Resources needed for entity decommissioning."},
    {"what-if-upgrade",                     17, CHECK_UUID_LIST,       UPGRADE, REPLY_PRINT,  SendUpgradeWhatIf,
     "Resources needed for host or disk upgrade"},
    {"what-if-cancel",                      18, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "Cancel on-going what-if operation"},
    {"force-reconfigure-the-object",        19, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendReconfigure,
     "Force apply the new object configuration to the object"},
    {"update-treldb",                       20, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendFilePathText,
     "Update nodes/disks/KOR_objects in treldb"},
    {"replace-treldb",                      21, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendFilePathText,
     "Update nodes/disks/KOR_objects in treldb, delete not present objects"},
    {"enable-trel-recovery-mode",           22, CHECK_RECOVERY_TARGET, DEFAULT, REPLY_SILENT, SendUuidAndRecoveryMode,
     "Put TREL in recovery mode"},
    {"get-obj-decom-state",                 23, CHECK_UUID_OR_ALL,     DEFAULT, REPLY_PRINT,  SendUuidText,
     NOT_LISTED},
    {"enable-workitem",                     24, CHECK_WORK_ITEM,       DEFAULT, REPLY_SILENT, SendWorkItemText,
     "Enable work item type specified by -i/--work-item"},
    {"disable-workitem",                    25, CHECK_WORK_ITEM,       DEFAULT, REPLY_SILENT, SendWorkItemText,
     "Disable work item type specified by -i/--work-item"},
    {"get-obj-crawler-state",               26, CHECK_UUID_OR_ALL,     DEFAULT, REPLY_PRINT,  SendUuidAndAllFlag,
     "Get crawler state of an object specified by -u/--uuid OR Get crawler stats of all objects "
     "with -a/--all"},
    {"pause-decom-state-progress",          27, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "pause progressing the decom state machine"},
    {"resume-decom-state-progress",         28, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "resume progressing the decom state machine"},
    {"start-decom-state-heartbeat",         29, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendEmpty,
     "start the heartbeat of state in decom state machine"},
    {"pause-failed-delta-entry-processing", 30, CHECK_NONE,            DEFAULT, REPLY_NONE,   SendEmpty,
     "pause the controller TREL just before it processes a failed delta entry"},
    {"block-cdb-cb",                        31, CHECK_CALLBACK_WORDS,  DEFAULT, REPLY_NONE,   SendCallbackBlock,
     "block certain cdb callbacks for testing"},
    {"refresh-config-opts",                 32, CHECK_NONE,            DEFAULT, REPLY_NONE,   SendEmpty,
     "Refresh advanced config options"},
    {"component-manual-move",               33, CHECK_MOVE_LISTS,      DEFAULT, REPLY_SILENT, SendManualMove,
     "Move the component based on given destination list or exclusion list"},
    {"set-global-exclusion-list",           34, CHECK_EXCLUSION_LIST,  DEFAULT, REPLY_SILENT, SendGlobalExclusion,
     "Set global exclusion list so that none of new component goes to excluded disk/dg/host/fd as "
     "per exclusion mode. By default exclusion mode is 0 which means exclusion list will be "
     "applicable to all new components. If exclusion mode is set to 1, exclusionlist will be "
     "ignored for witnesses and if set to 2, exclusion list will be ignored for new object "
     "placements and if 3, will be ignored for both."},
    {"info-owner-rebalance",                35, CHECK_NONE,            DEFAULT, REPLY_PRINT,  SendEmpty,
     "Get the info about owner rebalance"},
    {"set-preferred-fd",                    36, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendUuidText,
     "Set preferred FD uuid in trelDB handle"},
    {"set-nonPreferred-fd",                 37, CHECK_NONE,            DEFAULT, REPLY_SILENT, SendUuidText,
     "Set nonPreferred FD uuid in trelDB handle"},
});
// clang-format on

consteval bool CodesAreInOrder() {
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    if (ROWS[row].code != row + 1) {
      return false;
    }
  }
  return true;
}
static_assert(CodesAreInOrder());

consteval bool WordsAreUnique() {
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    for (std::size_t other = 0; other < row; ++other) {
      if (std::string_view(ROWS[row].word) == ROWS[other].word) {
        return false;
      }
    }
  }
  return true;
}
static_assert(WordsAreUnique());

consteval bool HelpLinesFit() {
  return std::ranges::all_of(ROWS, [](const CommandSpec& row) {
    const std::string_view word = row.word;
    const std::string_view description =
        row.helpDescription != NOT_LISTED ? row.helpDescription : "";
    return sizeof "   \t\t" + word.size() + description.size() <= HELP_LINE_CAPACITY;
  });
}
static_assert(HelpLinesFit());

static_assert(std::ranges::all_of(ROWS, [](const CommandSpec& row) {
  return row.receiveTimeoutSeconds == DEFAULT || row.receiveTimeoutSeconds == LONG ||
         row.receiveTimeoutSeconds == UPGRADE;
}));

// The rules for single commands meet the commands that they are for.
static_assert(std::string_view(ROWS[CODE_STATS - 1].word) == "stats");
static_assert(std::string_view(ROWS[CODE_GET_OBJ_CRAWLER_STATE - 1].word) ==
              "get-obj-crawler-state");
static_assert(std::string_view(ROWS[CODE_BLOCK_CDB_CB - 1].word) == "block-cdb-cb");

}  // namespace

constinit const std::span<const CommandSpec> COMMAND_TABLE = ROWS;

const CommandSpec* FindCommand(const char* word) {
  for (const CommandSpec& row : COMMAND_TABLE) {
    if (std::strcmp(row.word, word) == 0) {
      return &row;
    }
  }
  return nullptr;
}

ReplyMode ReplyModeOf(const CommandSpec& command, const ClientOptions& options) {
  if (command.code == CODE_GET_OBJ_CRAWLER_STATE && options.all != 0) {
    return REPLY_STREAM;
  }
  return command.replyMode;
}

}  // namespace trel
