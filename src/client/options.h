// The 18 options: their table and the parser that turns them into ClientOptions.

#ifndef TREL_CLIENT_OPTIONS_H
#define TREL_CLIENT_OPTIONS_H

#include <getopt.h>

#include <array>

#include "client/client_options.h"
#include "client/usage_error.h"

namespace trel {

inline constexpr std::size_t OPTION_COUNT = 18;

/// getopt_long(3)'s table, closed by an empty row. Kept on purpose: the position
/// of a row is what ClientOptions.longOptionIndex receives, and a check reads it.
inline constexpr std::array<option, OPTION_COUNT + 1> LONG_OPTIONS = {{
    {"help", no_argument, nullptr, 'h'},
    {"output-path", required_argument, nullptr, 'o'},
    {"socket-path", required_argument, nullptr, 's'},
    {"timeout", required_argument, nullptr, 't'},
    {"uuid", required_argument, nullptr, 'u'},
    {"uuid-list", required_argument, nullptr, 'l'},
    {"json", required_argument, nullptr, 'j'},
    {"file-path", required_argument, nullptr, 'f'},
    {"decom-mode", required_argument, nullptr, 'd'},
    {"ensure-durability", no_argument, nullptr, 'e'},
    {"reason", required_argument, nullptr, 'r'},
    {"work-item", required_argument, nullptr, 'i'},
    {"recovery-mode", required_argument, nullptr, 'm'},
    {"wipe-disk", no_argument, nullptr, 'w'},
    {"all", no_argument, nullptr, 'a'},
    {"destination-list", required_argument, nullptr, 'n'},
    {"exclusion-list", required_argument, nullptr, 'x'},
    {"exclusion-mode", required_argument, nullptr, 'X'},
    {nullptr, 0, nullptr, 0},
}};

/// The same options by letter, as getopt_long(3) takes them.
inline constexpr char SHORT_OPTIONS[] = "ho:s:t:u:l:j:f:d:r:n:x:X:i:m:wae";

/// A work-item type by the name that -i takes, exactly.
struct WorkItemName {
  const char* name;
  WorkItemType type;
};

inline constexpr std::array<WorkItemName, 22> WORK_ITEM_NAMES = {{
    {"PLACEMENT", WorkItemType::PLACEMENT},
    {"DECOM_CLEANUP", WorkItemType::DECOM_CLEANUP},
    {"CLEANUP", WorkItemType::CLEANUP},
    {"VOTES_REBALANCE", WorkItemType::VOTES_REBALANCE},
    {"FIX_FD_IDS", WorkItemType::FIX_FD_IDS},
    {"MOVE", WorkItemType::MOVE},
    {"REACTIVE_REBALANCE", WorkItemType::REACTIVE_REBALANCE},
    {"DECOM", WorkItemType::DECOM},
    {"FORCE_REPAIR", WorkItemType::FORCE_REPAIR},
    {"FORCE_RECONFIGURE", WorkItemType::FORCE_RECONFIGURE},
    {"RECOVERY", WorkItemType::RECOVERY},
    {"REPAIR", WorkItemType::REPAIR},
    {"CHANGE", WorkItemType::CHANGE},
    {"CHANGE_PENDING", WorkItemType::CHANGE_PENDING},
    {"COMPLIANCE", WorkItemType::COMPLIANCE},
    {"CONCAT", WorkItemType::CONCAT},
    {"PROACTIVE_REBALANCE", WorkItemType::PROACTIVE_REBALANCE},
    {"DELTA_DECOM", WorkItemType::DELTA_DECOM},
    {"FORMAT_CHANGE", WorkItemType::FORMAT_CHANGE},
    {"UNPLANNED_DELTA", WorkItemType::UNPLANNED_DELTA},
    {"MANUAL_MOVE", WorkItemType::MANUAL_MOVE},
    {"CONCAT_IN_MIDDLE", WorkItemType::CONCAT_IN_MIDDLE},
}};

/// How parsing ended: all options read, -h met, or an option refused. In the last
/// two cases whatever stands behind that option has not been looked at.
struct ParseResult {
  /// What was refused, or an error of kind NONE.
  UsageError error = {};
  bool helpAsked = false;
  /// All options read: index in the argument vector, as getopt_long(3) has
  /// reordered it, of the first word that is no option; the argument count if
  /// there is none.
  int wordIndex = 0;
};

/// Reads the options of `argv` (terminated, `argc` words) into `options`, which
/// holds its defaults, list buffers included, when the call begins. The words
/// are reordered as getopt_long(3) does; its own messages go to standard error.
///
/// Stops at the first option that is refused; `options` keeps what was accepted
/// before. A -l text beyond UUID_LIST_CAPACITY ends the process by abort(3)
/// without a word, and -j panics when memory is exhausted.
[[nodiscard]] ParseResult ParseOptions(int argc, char** argv, ClientOptions& options);

}  // namespace trel

#endif  // TREL_CLIENT_OPTIONS_H
