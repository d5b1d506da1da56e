// The table of commands. Columns: code, word, shape of the payload, reply form.

#include "protocol/commands.h"

#include <algorithm>
#include <array>

namespace standin {
namespace {

using enum PayloadShape;
using enum ReplyForm;

constexpr std::array<CommandInfo, 37> COMMANDS = {{
    {1, "stats", EMPTY, STREAM},
    {2, "crawler", UUID_TEXT, EMPTY_FRAME},
    {3, "fitness-config-get", EMPTY, TEXT_FRAME},
    {4, "fitness-config-set", JSON_TEXT, EMPTY_FRAME},
    {5, "fitness-config-reset", EMPTY, EMPTY_FRAME},
    {6, "fitness-stats-get", EMPTY, TEXT_FRAME},
    {7, "log-level", LEVEL_TEXT, EMPTY_FRAME},
    {8, "fix-object-immediate", UUID_TEXT, EMPTY_FRAME},
    {9, "get-object-last-operation", UUID_TEXT, TEXT_FRAME},
    {10, "start-proactive-rebalance", REBALANCE_RECORD, EMPTY_FRAME},
    {11, "stop-proactive-rebalance", EMPTY, EMPTY_FRAME},
    {12, "info-proactive-rebalance", EMPTY, TEXT_FRAME},
    {13, "fix-concats", EMPTY, EMPTY_FRAME},
    {14, "info-rebalance", UUID_TEXT, TEXT_FRAME},
    {15, "resources-to-fix-unhealthy-objects", UUID_TEXT, TEXT_FRAME},
    {16, "what-if-entity-decom", DECOM_RECORD, TEXT_FRAME},
    {17, "what-if-upgrade", UPGRADE_RECORD, TEXT_FRAME},
    {18, "what-if-cancel", EMPTY, EMPTY_FRAME},
    {19, "force-reconfigure-the-object", RECONFIGURE_RECORD, EMPTY_FRAME},
    {20, "update-treldb", PATH_TEXT, EMPTY_FRAME},
    {21, "replace-treldb", PATH_TEXT, EMPTY_FRAME},
    {22, "enable-trel-recovery-mode", RECOVERY_TEXT, EMPTY_FRAME},
    {23, "get-obj-decom-state", UUID_TEXT, TEXT_FRAME},
    {24, "enable-workitem", WORK_ITEM_TEXT, EMPTY_FRAME},
    {25, "disable-workitem", WORK_ITEM_TEXT, EMPTY_FRAME},
    {26, "get-obj-crawler-state", CRAWLER_TEXT, TEXT_FRAME},
    {27, "pause-decom-state-progress", EMPTY, EMPTY_FRAME},
    {28, "resume-decom-state-progress", EMPTY, EMPTY_FRAME},
    {29, "start-decom-state-heartbeat", EMPTY, EMPTY_FRAME},
    {30, "pause-failed-delta-entry-processing", EMPTY, NOTHING},
    {31, "block-cdb-cb", CALLBACK_TEXT, NOTHING},
    {32, "refresh-config-opts", EMPTY, NOTHING},
    {33, "component-manual-move", MOVE_RECORD, EMPTY_FRAME},
    {34, "set-global-exclusion-list", EXCLUSION_RECORD, EMPTY_FRAME},
    {35, "info-owner-rebalance", EMPTY, TEXT_FRAME},
    {36, "set-preferred-fd", UUID_TEXT, EMPTY_FRAME},
    {37, "set-nonPreferred-fd", UUID_TEXT, EMPTY_FRAME},
}};

}  // namespace

std::span<const CommandInfo> AllCommands() { return COMMANDS; }

const CommandInfo* CommandOfCode(std::uint32_t code) {
  return code >= 1 && code <= COMMANDS.size() ? &COMMANDS[code - 1] : nullptr;
}

const CommandInfo* CommandOfWord(std::string_view word) {
  const auto* const found = std::find_if(COMMANDS.begin(), COMMANDS.end(),
                                         [&](const auto& row) { return row.word == word; });
  return found != COMMANDS.end() ? found : nullptr;
}

}  // namespace standin
