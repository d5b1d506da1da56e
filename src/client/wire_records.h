// The request payloads that have a fixed layout, as plain records whose memory
// is what travels. Numbers are in the host's byte order: client and daemon run
// on the same host. A reserved field is sent and means nothing; it is zero.
// docs/protocol.md describes every field.

#ifndef TREL_CLIENT_WIRE_RECORDS_H
#define TREL_CLIENT_WIRE_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace trel {

/// A binary UUID, byte 0 first, never reordered.
using Uuid = std::array<std::uint8_t, 16>;

/// Characters of a UUID text: 8-4-4-4-12 lower-case hexadecimal digits.
inline constexpr std::size_t UUID_TEXT_LENGTH = 36;
/// Bytes of one list entry: a UUID text and its comma or terminator.
inline constexpr std::size_t UUID_LIST_ENTRY_SIZE = UUID_TEXT_LENGTH + 1;
/// Bytes of a UUID list area: 2560 entries, the last one's terminator included.
inline constexpr std::size_t UUID_LIST_CAPACITY = 94720;
static_assert(UUID_LIST_CAPACITY == 2560 * UUID_LIST_ENTRY_SIZE);

/// Most characters of a path given with --file-path.
inline constexpr std::size_t FILE_PATH_MAX_LENGTH = 4096;

/// A UUID text with its terminator; sent without it.
using UuidTextBuffer = std::array<char, UUID_TEXT_LENGTH + 1>;

/// start-proactive-rebalance.
struct RebalanceParams {
  std::uint64_t timeSpan;       ///< seconds
  double varianceThreshold;     ///< 0 to 1, IEEE 754 binary64
  std::uint64_t timeThreshold;  ///< seconds
  std::uint64_t rateThreshold;  ///< MB per hour
};
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

/// block-cdb-cb: "<event>:<entry>:<uuid text>", its terminator, zeros. Always
/// sent whole.
using CallbackBlockSpec = std::array<char, 1024>;

/// enable-trel-recovery-mode and get-obj-crawler-state: a UUID text directly
/// followed by a one-digit number and a terminator. Kept on purpose: three
/// bytes past the terminator are sent with it.
using UuidNumberText = std::array<char, 41>;

/// enable-workitem and disable-workitem: a number of at most three digits and
/// its terminator. Always sent whole.
using WorkItemText = std::array<char, 4>;

}  // namespace trel

#endif  // TREL_CLIENT_WIRE_RECORDS_H
