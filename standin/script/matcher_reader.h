// Reads what an entry wants of a field. Refuses what no request can have.

#ifndef STANDIN_SCRIPT_MATCHER_READER_H
#define STANDIN_SCRIPT_MATCHER_READER_H

#include "contract/contract.h"
#include "script/json_reader.h"
#include "script/matcher.h"

namespace standin {

/// `json`: a plain value, or an object of conditions. Throws ScriptError.
[[nodiscard]] Matcher ReadMatcher(const JsonReader& json, const contract::Field& field);

}  // namespace standin

#endif  // STANDIN_SCRIPT_MATCHER_READER_H
