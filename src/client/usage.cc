// The help text: a head, one line for each listed row of the command table, and
// the options block. The options block is one text because its lines follow no
// rule: order, padding, colons and spelling are kept on purpose, since people
// and scripts compare them.

#include "client/usage.h"

#include <array>
#include <cstdio>

#include "client/command_table.h"

namespace trel {
namespace {

// clang-format off
constexpr char OPTIONS_BLOCK[] =
    "\n"
    "options:\n"
    "   -h/--help:                     Print this help text\n"
    "   -o/--output-path=<str>:        Write output to a file\n"
    "   -s/--socket-path=<str>:        Alternative Unix Domain Socket path\n"
    "   -t/--timeout=<int>:            Max time for wait (0 for infinite wait)\n"
    "   -u/--uuid=<uuid>:              Entry uuid\n"
    "   -l/--uuid-list=<uuid,uuid>:    List of uuids (comma separated)\n"
    "   -r/--reason=<int>:             Reason for what-if-upgrade (0:none, 1:disable dedup, "
    "2:enable encryption, 3:disable dedup and enforce encryption)\n"
    "   -d/--decom-mode=<int>:         Entity decomMode (0:noAction, 1:ensureAcces, "
    "2:evacAllData) \n"
    "   -e/--ensure-durability         ensure data durability in ensure access decom\n"
    "   -w/--wipe-disk                 Wipe disk in what-if-upgrade \n"
    "   -j/--json=<json>:              Stringified JSON object\n"
    "   -f/--file-path=<str>:          File with new configuration for object\n"
    "   -i/--work-item=<str>:          Work item type name (example: PLACEMENT, MOVE, "
    "REACTIVE_REBALANCE, DECOM, REPAIR, CHANGE, COMPLIANCE, CONCAT ...)\n"
    "   -m/--recovery-mode=<int>:      Recovery mode (1: REPAIR, 2: REBALANCE, 3: COMPLIANCE,"
    " 4: POLICY, 5: CONCAT, 6: DELTA, 7: ALL, except DELTA)\n"
    "   -a/--all:                      Print crawler states of all objects owned by this node\n"
    "   -n/--destination-list=<uuid,uuid>: List of uuids for destination disk/dg/host/FD\n"
    "   -x/--exclusion-list=<uuid,uuid>  : List of uuids for exclusion disk/dg/host/FD\n"
    "   -X/--exclusion-mode=<int>:     Exclusion mode (1: ignoreForWitness, 2: "
    "ignoreForNewPlacement, 3: ignoreForWitnessAndNewPlacement)";
// clang-format on

}  // namespace

void PrintUsage(const char* programName) {
  std::printf("usage: %s <options> <cmd> <args>\n\ncommands:\n", programName);
  for (const CommandSpec& command : COMMAND_TABLE) {
    if (command.helpDescription != nullptr) {
      // Whole and with puts(3), which an output without a buffer shows.
      std::array<char, HELP_LINE_CAPACITY> line;
      std::snprintf(line.data(), line.size(), "   %s\t\t%s", command.word, command.helpDescription);
      std::puts(line.data());
    }
  }
  std::puts(OPTIONS_BLOCK);
}

}  // namespace trel
