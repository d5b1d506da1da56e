// The names that one entry sets and another one needs: states and captures.

#ifndef STANDIN_SCRIPT_NAMES_H
#define STANDIN_SCRIPT_NAMES_H

#include <string>
#include <vector>

#include "script/entries.h"
#include "script/json_reader.h"

namespace standin {

/// Throws ScriptError if there are more than 10000 entries, or if one needs a state that nothing
/// sets, `first` being set from the beginning, or a value that no entry can have captured before
/// it.
void CheckNames(const JsonReader& script, const std::vector<Sequence>& sequences,
                const std::string& first);

}  // namespace standin

#endif  // STANDIN_SCRIPT_NAMES_H
