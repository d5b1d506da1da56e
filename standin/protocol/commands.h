// The commands as the daemon knows them: number, word, shape of the request's
// payload, form of the reply. A table of the stand-in's own, on purpose: a mistake
// in the client's must not agree with it.

#ifndef STANDIN_PROTOCOL_COMMANDS_H
#define STANDIN_PROTOCOL_COMMANDS_H

#include <cstdint>
#include <span>
#include <string_view>

namespace standin {

/// What the payload of a request holds; layout.h tells where.
enum class PayloadShape {
  EMPTY,
  UUID_TEXT,
  JSON_TEXT,
  LEVEL_TEXT,
  REBALANCE_RECORD,
  DECOM_RECORD,
  UPGRADE_RECORD,
  RECONFIGURE_RECORD,
  PATH_TEXT,
  RECOVERY_TEXT,
  CRAWLER_TEXT,
  WORK_ITEM_TEXT,
  CALLBACK_TEXT,
  MOVE_RECORD,
  EXCLUSION_RECORD,
};

enum class ReplyForm {
  STREAM,       ///< bytes without a frame until the daemon hangs up
  TEXT_FRAME,   ///< a frame whose payload the client prints
  EMPTY_FRAME,  ///< a frame that carries a status
  NOTHING,      ///< the client reads nothing
};

struct CommandInfo {
  std::uint32_t code;
  std::string_view word;
  PayloadShape shape;
  ReplyForm reply;  ///< of get-obj-crawler-state: without its `all` flag
};

/// All commands in the order of their codes, 1 to 37.
[[nodiscard]] std::span<const CommandInfo> AllCommands();

/// Null if there is no such command.
[[nodiscard]] const CommandInfo* CommandOfCode(std::uint32_t code);
[[nodiscard]] const CommandInfo* CommandOfWord(std::string_view word);

}  // namespace standin

#endif  // STANDIN_PROTOCOL_COMMANDS_H
