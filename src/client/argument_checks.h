// Chooses the command and applies its argument check. All of it happens before
// a socket exists: a command line that is refused never reaches the daemon.

#ifndef TREL_CLIENT_ARGUMENT_CHECKS_H
#define TREL_CLIENT_ARGUMENT_CHECKS_H

#include "client/client_options.h"
#include "client/command_table.h"
#include "client/usage_error.h"

namespace trel {

/// Looks up the command word at `wordIndex` of `argv` (`argc` words, as
/// getopt_long(3) has reordered them). On success `*commandOut` is its row;
/// otherwise it is untouched and the error says why.
[[nodiscard]] UsageError SelectCommand(int argc, char** argv, int wordIndex,
                                       const CommandSpec** commandOut);

/// Sets `options.commandArgIndex` to the index of the word that follows the
/// command word at `wordIndex`, or to 0 when none does, and applies the check of
/// `command`.
///
/// Kept on purpose: the check of `log-level` and `block-cdb-cb` does not test the words
/// that follow but argv[longOptionIndex].
[[nodiscard]] UsageError CheckCommandArguments(const CommandSpec& command, int argc, char** argv,
                                               int wordIndex, ClientOptions& options);

}  // namespace trel

#endif  // TREL_CLIENT_ARGUMENT_CHECKS_H
