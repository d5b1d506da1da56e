// The record of everything that the command line says. Set to its defaults by
// the run sequence, filled by the option parser, read by all that follows.

#ifndef TREL_CLIENT_CLIENT_OPTIONS_H
#define TREL_CLIENT_CLIENT_OPTIONS_H

#include <array>
#include <cstdint>

#include "client/wire_records.h"

namespace trel {

/// Types of the daemon's work items. The numbers are the protocol's; 4 is not
/// used.
enum class WorkItemType : std::uint32_t {
  NONE = 0,
  PLACEMENT = 1,
  DECOM_CLEANUP = 2,
  CLEANUP = 3,
  VOTES_REBALANCE = 5,
  FIX_FD_IDS = 6,
  MOVE = 7,
  REACTIVE_REBALANCE = 8,
  DECOM = 9,
  FORCE_REPAIR = 10,
  FORCE_RECONFIGURE = 11,
  RECOVERY = 12,
  REPAIR = 13,
  CHANGE = 14,
  CHANGE_PENDING = 15,
  COMPLIANCE = 16,
  CONCAT = 17,
  PROACTIVE_REBALANCE = 18,
  DELTA_DECOM = 19,
  FORMAT_CHANGE = 20,
  UNPLANNED_DELTA = 21,
  MANUAL_MOVE = 22,
  CONCAT_IN_MIDDLE = 23,
};

inline constexpr char DEFAULT_SOCKET_PATH[] = "/var/run/treld.uds";

/// What the daemon is asked for when start-proactive-rebalance has no words.
inline constexpr RebalanceParams DEFAULT_REBALANCE_PARAMS = {
    .timeSpan = 86400,
    .varianceThreshold = 0.3,
    .timeThreshold = 1800,
    .rateThreshold = 14913081,
};

struct ClientOptions {
  /// -o; refers to the argument vector. Null: the reply goes to standard output.
  const char* outputPath = nullptr;
  /// -s; refers to the argument vector.
  const char* socketPath = DEFAULT_SOCKET_PATH;
  Uuid uuid = {};  ///< -u
  bool uuidGiven = false;
  /// -l writes its text straight into the `uuidList` field of the request that
  /// it is for; building the request fills in the other fields. The one member
  /// without a default: the run sequence makes the list empty and leaves the rest
  /// of it unset, because a zero fill would touch 24 pages in every run.
  UpgradeWhatIfRequest upgradeWhatIf;
  bool uuidListGiven = false;
  /// -j; a copy that is never released, not even for a later -j.
  char* json = nullptr;
  bool jsonGiven = false;
  /// -f; terminated by what is left of its zero fill.
  std::array<char, FILE_PATH_MAX_LENGTH + 1> filePath = {};
  std::uint32_t decomMode = 0;                 ///< -d
  bool ensureDurability = false;               ///< -e
  std::uint32_t reason = 0;                    ///< -r
  WorkItemType workItem = WorkItemType::NONE;  ///< -i
  std::uint32_t recoveryMode = 0;              ///< -m, 0 to 7
  bool wipeDisk = false;                       ///< -w
  std::int32_t all = 0;                        ///< -a, 0 or 1
  /// -n; UUID_LIST_CAPACITY bytes owned by the run sequence.
  char* destinationList = nullptr;
  bool destinationListGiven = false;
  /// -x; UUID_LIST_CAPACITY bytes owned by the run sequence.
  char* exclusionList = nullptr;
  bool exclusionListGiven = false;
  std::uint32_t exclusionMode = 0;  ///< -X, 0 to 3
  /// How often -u and -m were accepted.
  std::uint32_t recoveryTargetCount = 0;
  /// Overwritten by the positional words of start-proactive-rebalance.
  RebalanceParams rebalanceParams = DEFAULT_REBALANCE_PARAMS;
  /// Index in the argument vector of the first word after the command word, 0
  /// when there is none. Set by CheckCommandArguments.
  std::int32_t commandArgIndex = 0;
  /// Position in the long-option table of the last long option given, 1 when
  /// none was. Written by getopt_long(3).
  std::int32_t longOptionIndex = 1;
};

}  // namespace trel

#endif  // TREL_CLIENT_CLIENT_OPTIONS_H
