// The sections of the manual that list options and commands.

#ifndef TOOLS_GENERATE_MANUAL_H
#define TOOLS_GENERATE_MANUAL_H

#include <string>

namespace generate {

/// All options as items of an mdoc list.
[[nodiscard]] std::string ManualOptions();

/// The commands that the help text lists, or those that it leaves out, as items of
/// an mdoc list.
[[nodiscard]] std::string ManualCommands(bool listed);

}  // namespace generate

#endif  // TOOLS_GENERATE_MANUAL_H
