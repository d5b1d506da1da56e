// Builds the request payloads: options and words in, bytes and LENGTH out. Pure:
// no socket, no allocation, nothing printed, no failure. The options have been
// checked, so every text fits its field.
//
// Each builder returns LENGTH, the number of payload bytes to send. Which texts
// count their terminator is kept on purpose and differs from one to the next.
// Bytes that a record does not use are zero. docs/protocol.md describes them all.

#ifndef TREL_CLIENT_PAYLOAD_H
#define TREL_CLIENT_PAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "client/client_options.h"
#include "client/wire_records.h"

namespace trel {

/// Writes the 36 characters of `uuid` in storage order and a terminator.
void FormatUuidText(const Uuid& uuid, std::span<char, UUID_TEXT_LENGTH + 1> text);

/// Number of entries of the terminated list `text`, by its length alone; 0 for
/// an empty text.
[[nodiscard]] std::uint32_t CountUuidListEntries(const char* text);

/// A UUID text without its terminator: 36.
[[nodiscard]] std::size_t BuildUuidText(const ClientOptions& options, UuidTextBuffer* record);

/// 32. Reads up to four words of `argv` (`argc` words) from `commandArgIndex` on
/// into `options.rebalanceParams`, then copies the record. Kept on purpose: a
/// word that is no number, "default" among them, leaves its field as it is.
[[nodiscard]] std::size_t BuildRebalanceParams(ClientOptions& options, int argc, char** argv,
                                               RebalanceParams* record);

/// 24.
[[nodiscard]] std::size_t BuildDecomWhatIf(const ClientOptions& options,
                                           DecomWhatIfRequest* record);

/// Fills in the head of `options.upgradeWhatIf`, which holds the list already,
/// in place: 32 bytes of head, the list and its terminator.
[[nodiscard]] std::size_t BuildUpgradeWhatIf(ClientOptions& options);

/// 16 bytes of UUID, the path and its terminator.
[[nodiscard]] std::size_t BuildReconfigure(const ClientOptions& options,
                                           ReconfigureRequest* record);

/// 41: a UUID text, `recoveryMode`, a terminator, three bytes more.
[[nodiscard]] std::size_t BuildUuidAndRecoveryMode(const ClientOptions& options,
                                                   UuidNumberText* record);

/// 41: a UUID text, the `all` flag, a terminator, three bytes more.
[[nodiscard]] std::size_t BuildUuidAndAllFlag(const ClientOptions& options, UuidNumberText* record);

/// 4.
[[nodiscard]] std::size_t BuildWorkItemText(const ClientOptions& options, WorkItemText* record);

/// 189464.
[[nodiscard]] std::size_t BuildManualMove(const ClientOptions& options, ManualMoveRequest* record);

/// 94728. `record` is zero-filled when the call begins.
[[nodiscard]] std::size_t BuildGlobalExclusion(const ClientOptions& options,
                                               GlobalExclusionRequest* record);

/// 1024. Reads every word of `argv` (`argc` words) from `startIndex` to the end;
/// the last one of each group counts, unknown words are ignored.
[[nodiscard]] std::size_t BuildCallbackBlock(int argc, char** argv, int startIndex,
                                             const Uuid& uuid, CallbackBlockSpec* record);

}  // namespace trel

#endif  // TREL_CLIENT_PAYLOAD_H
