// The request payloads: the records that travel, and for each type of payload the
// function that builds and sends it. Which texts count their terminator is kept on
// purpose and differs from one to the next. Numbers are in the host's byte order:
// client and daemon run on the same host. docs/payloads.md describes every field.

#ifndef TREL_CLIENT_PAYLOAD_H
#define TREL_CLIENT_PAYLOAD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "client/client_options.h"
#include "support/status.h"
#include "transport/message.h"

namespace trel {

// --- records: their memory is what travels; reserved bytes are zero ----------------

/// A UUID text with its terminator; sent without it.
using UuidTextBuffer = std::array<char, UUID_TEXT_LENGTH + 1>;

/// start-proactive-rebalance.
static_assert(sizeof(RebalanceParams) == 32);
static_assert(offsetof(RebalanceParams, timeSpan) == 0);
static_assert(offsetof(RebalanceParams, varianceThreshold) == 8);
static_assert(offsetof(RebalanceParams, timeThreshold) == 16);
static_assert(offsetof(RebalanceParams, rateThreshold) == 24);

/// what-if-entity-decom.
struct DecomWhatIfRequest {
  Uuid uuid;
  std::uint32_t decomMode;
  std::uint8_t ensureDurability;  ///< 0 or 1
  std::array<std::uint8_t, 3> reserved;
};
static_assert(sizeof(DecomWhatIfRequest) == 24);
static_assert(offsetof(DecomWhatIfRequest, uuid) == 0);
static_assert(offsetof(DecomWhatIfRequest, decomMode) == 16);
static_assert(offsetof(DecomWhatIfRequest, ensureDurability) == 20);
static_assert(offsetof(DecomWhatIfRequest, reserved) == 21);

/// what-if-upgrade. Sent up to and including the terminator of the list.
struct UpgradeWhatIfRequest {
  Uuid uuid;
  std::uint32_t decomMode;
  std::uint32_t reason;
  std::uint8_t wipeDisk;  ///< 0 or 1
  std::array<std::uint8_t, 3> reserved;
  std::uint32_t uuidCount;
  std::array<char, UUID_LIST_CAPACITY> uuidList;
};
static_assert(sizeof(UpgradeWhatIfRequest) == 94752);
static_assert(offsetof(UpgradeWhatIfRequest, uuid) == 0);
static_assert(offsetof(UpgradeWhatIfRequest, decomMode) == 16);
static_assert(offsetof(UpgradeWhatIfRequest, reason) == 20);
static_assert(offsetof(UpgradeWhatIfRequest, wipeDisk) == 24);
static_assert(offsetof(UpgradeWhatIfRequest, reserved) == 25);
static_assert(offsetof(UpgradeWhatIfRequest, uuidCount) == 28);
static_assert(offsetof(UpgradeWhatIfRequest, uuidList) == 32);

/// force-reconfigure-the-object. Sent up to and including the path's terminator.
struct ReconfigureRequest {
  Uuid uuid;
  std::array<char, 4104> filePath;
};
static_assert(sizeof(ReconfigureRequest) == 4120);
static_assert(offsetof(ReconfigureRequest, uuid) == 0);
static_assert(offsetof(ReconfigureRequest, filePath) == 16);

/// component-manual-move. Always sent whole.
struct ManualMoveRequest {
  Uuid uuid;
  std::uint32_t destinationCount;
  std::uint32_t exclusionCount;
  std::array<char, UUID_LIST_CAPACITY> destinationList;
  std::array<char, UUID_LIST_CAPACITY> exclusionList;
};
static_assert(sizeof(ManualMoveRequest) == 189464);
static_assert(offsetof(ManualMoveRequest, uuid) == 0);
static_assert(offsetof(ManualMoveRequest, destinationCount) == 16);
static_assert(offsetof(ManualMoveRequest, exclusionCount) == 20);
static_assert(offsetof(ManualMoveRequest, destinationList) == 24);
static_assert(offsetof(ManualMoveRequest, exclusionList) == 94744);

/// set-global-exclusion-list. Always sent whole.
struct GlobalExclusionRequest {
  std::uint32_t exclusionMode;  ///< 0 to 3
  std::uint32_t exclusionCount;
  std::array<char, UUID_LIST_CAPACITY> exclusionList;
};
static_assert(sizeof(GlobalExclusionRequest) == 94728);
static_assert(offsetof(GlobalExclusionRequest, exclusionMode) == 0);
static_assert(offsetof(GlobalExclusionRequest, exclusionCount) == 4);
static_assert(offsetof(GlobalExclusionRequest, exclusionList) == 8);

/// The two requests that are too large for a stack frame. Zero-filled when a run
/// begins; memory that is zero anyway, such as static storage, costs nothing until a
/// command uses it.
struct LargeRequests {
  UpgradeWhatIfRequest upgradeWhatIf;
  ManualMoveRequest manualMove;
};

// --- texts -------------------------------------------------------------------------

/// Writes the 36 characters of `uuid` in storage order and a terminator.
void FormatUuidText(const Uuid& uuid, std::span<char, UUID_TEXT_LENGTH + 1> text);

/// Number of entries of the terminated list `text`, by its length alone; 0 for
/// an empty text.
[[nodiscard]] std::uint32_t CountUuidListEntries(const char* text);

// --- sending -----------------------------------------------------------------------

struct CommandSpec;

/// Builds the payload of `command` and sends the request on the connected `socket`,
/// which stays the caller's. `argv` (`argc` words, as getopt_long(3) has reordered
/// them) gives the positional words, from `options.commandArgIndex` on. The options
/// have been checked, so every text fits its field.
///
/// Returns the status of the send unchanged; prints nothing. May change
/// `options.rebalanceParams` and the records of `options.largeRequests`.
[[nodiscard]] ReturnStatus BuildAndSendRequest(int socket, const CommandSpec& command,
                                               ClientOptions& options, int argc, char** argv);

/// What a payload is built from and where it goes: the arguments of
/// BuildAndSendRequest, with the code of the command.
struct Request {
  int socket;
  CommandCode code;
  ClientOptions& options;
  int argc;
  char** argv;
};

/// A type of payload: builds it and sends it with one SendCommand, whose status it
/// returns.
using PayloadSender = ReturnStatus(const Request& request);

/// No payload, the header alone.
PayloadSender SendEmpty;

/// 36 bytes: a UUID text without its terminator.
PayloadSender SendUuidText;

/// The text of --json and its terminator.
PayloadSender SendJsonText;

/// The word at `commandArgIndex` as typed, without its terminator. Kept on purpose:
/// when no word follows the command, that index is 0 and the program's name is sent.
PayloadSender SendLogLevelWord;

/// 32 bytes. Reads up to four words from `commandArgIndex` on into
/// `options.rebalanceParams`, then sends that record. Kept on purpose: a word that is
/// no number, "default" among them, leaves its field as it is.
PayloadSender SendRebalanceParams;

/// 24 bytes.
PayloadSender SendDecomWhatIf;

/// 32 bytes, the list of --uuid-list, and its terminator.
PayloadSender SendUpgradeWhatIf;

/// 16 bytes of UUID, the path of --file-path, and its terminator.
PayloadSender SendReconfigure;

/// The path of --file-path and its terminator.
PayloadSender SendFilePathText;

/// 41 bytes: a UUID text, a digit, its terminator. Kept on purpose: three zero bytes
/// beyond the terminator are sent with it.
PayloadSender SendUuidAndRecoveryMode;
PayloadSender SendUuidAndAllFlag;

/// 4 bytes: the number of --work-item in decimal, filled up with zeros.
PayloadSender SendWorkItemText;

/// SendCallbackBlockRequest with the words from `commandArgIndex` on.
PayloadSender SendCallbackBlock;

/// 189464 bytes, however long the lists are.
PayloadSender SendManualMove;

/// 94728 bytes, however long the list is, in a block from TREL_SafeCalloc that is
/// released after the send. No other payload allocates memory.
PayloadSender SendGlobalExclusion;

/// Sends code 31 with 1024 bytes: "<event>:<entry>:<uuid text>", filled up with zeros.
/// The numbers come from the words of `argv` (`argc` words) from `startIndex` to the
/// end; the last word of each group counts, unknown words are ignored. Returns the
/// status of the send; reads no reply.
///
/// Kept on purpose: without positional words `startIndex` is 0, and the whole vector is
/// read, option values and the program's name included.
[[nodiscard]] ReturnStatus SendCallbackBlockRequest(int argc, char** argv, int startIndex,
                                                    int socket, const Uuid& uuid);

}  // namespace trel

#endif  // TREL_CLIENT_PAYLOAD_H
