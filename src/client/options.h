// The options: their table and the parser that turns them into ClientOptions.

#ifndef TREL_CLIENT_OPTIONS_H
#define TREL_CLIENT_OPTIONS_H

#include <getopt.h>

#include "client/client_options.h"
#include "client/usage_error.h"

namespace trel {

/// getopt_long(3)'s table, closed by an empty row. Kept on purpose: the position
/// of a row is what ClientOptions.longOptionIndex receives, and a check reads it.
inline constexpr option LONG_OPTIONS[] = {
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
};

/// The same options by letter, as getopt_long(3) takes them.
inline constexpr char SHORT_OPTIONS[] = "ho:s:t:u:l:j:f:d:r:n:x:X:i:m:wae";

/// The types of work items by the names that -i takes, exactly. Number 4 is not used.
struct WorkItemName {
  const char* name;
  WorkItemType type;
};
inline constexpr WorkItemName WORK_ITEM_NAMES[] = {
    {"PLACEMENT", 1},
    {"DECOM_CLEANUP", 2},
    {"CLEANUP", 3},
    {"VOTES_REBALANCE", 5},
    {"FIX_FD_IDS", 6},
    {"MOVE", 7},
    {"REACTIVE_REBALANCE", 8},
    {"DECOM", 9},
    {"FORCE_REPAIR", 10},
    {"FORCE_RECONFIGURE", 11},
    {"RECOVERY", 12},
    {"REPAIR", 13},
    {"CHANGE", 14},
    {"CHANGE_PENDING", 15},
    {"COMPLIANCE", 16},
    {"CONCAT", 17},
    {"PROACTIVE_REBALANCE", 18},
    {"DELTA_DECOM", 19},
    {"FORMAT_CHANGE", 20},
    {"UNPLANNED_DELTA", 21},
    {"MANUAL_MOVE", 22},
    {"CONCAT_IN_MIDDLE", 23},
};

/// How parsing ended: all options read, -h met, or an option refused. In the last
/// two cases later arguments have not been parsed.
struct ParseResult {
  UsageError error = {};
  bool helpAsked = false;
  /// All options read: index in the argument vector, as getopt_long(3) has
  /// reordered it, of the first word that is not an option; the argument count if
  /// there is none.
  int wordIndex = 0;
};

/// Reads the options of `argv` (terminated, `argc` words) into `options`. Requires:
/// `options` holds its defaults, and its lists and requests are zero-filled. The words
/// are reordered as getopt_long(3) does; its own messages go to standard error.
///
/// Stops at the first option that is refused; `options` keeps what was accepted
/// before. A -l text beyond UUID_LIST_CAPACITY ends the process by abort(3)
/// without a message, and -j panics when memory is exhausted.
[[nodiscard]] ParseResult ParseOptions(int argc, char** argv, ClientOptions& options);

}  // namespace trel

#endif  // TREL_CLIENT_OPTIONS_H
