// The command table: one row for each command. Lookup, checks, the exchange and the
// help text all read these rows; nothing else lists commands.

#ifndef TREL_CLIENT_COMMAND_TABLE_H
#define TREL_CLIENT_COMMAND_TABLE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "client/client_options.h"
#include "client/payload.h"
#include "transport/message.h"

namespace trel {

/// What the positional words and options of a command must hold before anything
/// is sent. argument_checks.cc has what each of them tests.
enum class ArgumentCheck {
  CHECK_NONE,
  CHECK_UUID_OR_ALL,
  CHECK_UUID_LIST,
  CHECK_JSON,
  CHECK_LOG_LEVEL,
  CHECK_RECOVERY_TARGET,
  CHECK_WORK_ITEM,
  CHECK_CALLBACK_WORDS,
  CHECK_MOVE_LISTS,
  CHECK_EXCLUSION_LIST,
};

/// What the run does once the request has been sent. reply.cc carries it out.
enum class ReplyMode {
  REPLY_STREAM,  ///< no frame: copied until the daemon closes the connection
  REPLY_PRINT,   ///< a frame whose payload is printed
  REPLY_SILENT,  ///< a frame of which only an error status is reported
  REPLY_NONE,    ///< nothing is read
};

// Receive time-outs in seconds.
inline constexpr std::uint32_t RECEIVE_TIMEOUT_DEFAULT = 20;
inline constexpr std::uint32_t RECEIVE_TIMEOUT_LONG = 1800;
inline constexpr std::uint32_t RECEIVE_TIMEOUT_UPGRADE = 7200;

// Commands that have a rule of their own beyond their row.
inline constexpr CommandCode CODE_STATS = 1;
inline constexpr CommandCode CODE_GET_OBJ_CRAWLER_STATE = 26;
inline constexpr CommandCode CODE_BLOCK_CDB_CB = 31;

struct CommandSpec {
  const char* word;
  CommandCode code;
  ArgumentCheck check;
  std::uint32_t receiveTimeoutSeconds;
  /// Without --all; ReplyModeOf gives the mode of a run.
  ReplyMode replyMode;
  /// Builds the payload and sends the request.
  PayloadSender* sendPayload;
  /// What the help text says; null for a working command that it leaves out.
  const char* helpDescription;
};

/// Bytes that hold the help text's line of any row, terminator included.
inline constexpr std::size_t HELP_LINE_CAPACITY = 512;

/// All rows, in code order: the row of code c stands at c - 1.
extern const std::span<const CommandSpec> COMMAND_TABLE;

/// The row whose word equals the terminated `word` exactly, or null.
[[nodiscard]] const CommandSpec* FindCommand(const char* word);

/// The reply mode of this run: the row's, but for get-obj-crawler-state, which
/// streams when --all was given.
[[nodiscard]] ReplyMode ReplyModeOf(const CommandSpec& command, const ClientOptions& options);

}  // namespace trel

#endif  // TREL_CLIENT_COMMAND_TABLE_H
