// The record of everything that the command line says. Set to its defaults by
// the run sequence, filled by the option parser, read by all that follows.

#ifndef TREL_CLIENT_CLIENT_OPTIONS_H
#define TREL_CLIENT_CLIENT_OPTIONS_H

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

/// Number of a type of work item; options.h has their names.
using WorkItemType = std::uint32_t;
inline constexpr WorkItemType NO_WORK_ITEM = 0;

inline constexpr char DEFAULT_SOCKET_PATH[] = "/var/run/treld.uds";

/// What start-proactive-rebalance asks for, sent as it stands. The defaults hold for
/// the words that are not given.
struct RebalanceParams {
  std::uint64_t timeSpan = 86400;          ///< seconds
  double varianceThreshold = 0.3;          ///< 0 to 1
  std::uint64_t timeThreshold = 1800;      ///< seconds
  std::uint64_t rateThreshold = 14913081;  ///< MB per hour
};

struct LargeRequests;

struct ClientOptions {
  /// Zero-filled, owned by the caller of the run.
  LargeRequests* largeRequests = nullptr;
  /// -o; refers to the argument vector. Null: the reply goes to standard output.
  const char* outputPath = nullptr;
  /// -s; refers to the argument vector.
  const char* socketPath = DEFAULT_SOCKET_PATH;
  Uuid uuid = {};  ///< -u
  bool uuidGiven = false;
  /// -l, whose text goes straight into the list of the what-if-upgrade request.
  bool uuidListGiven = false;
  /// -j; a copy that is never released, not even for a later -j.
  char* json = nullptr;
  bool jsonGiven = false;
  /// -f; terminated by its zero fill, which -f never overwrites to the end.
  std::array<char, FILE_PATH_MAX_LENGTH + 1> filePath = {};
  std::uint32_t decomMode = 0;           ///< -d
  bool ensureDurability = false;         ///< -e
  std::uint32_t reason = 0;              ///< -r
  WorkItemType workItem = NO_WORK_ITEM;  ///< -i
  std::uint32_t recoveryMode = 0;        ///< -m, 0 to 7
  bool wipeDisk = false;                 ///< -w
  /// -a, 0 or 1. A number because it is sent as one, in decimal.
  std::int32_t all = 0;
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
  RebalanceParams rebalanceParams;
  /// Index in the argument vector of the first word after the command word, 0
  /// when there is none. Set by CheckCommandArguments.
  std::int32_t commandArgIndex = 0;
  /// Position in the long-option table of the last long option given, 1 when
  /// none was. Written by getopt_long(3).
  std::int32_t longOptionIndex = 1;
};

}  // namespace trel

#endif  // TREL_CLIENT_CLIENT_OPTIONS_H
