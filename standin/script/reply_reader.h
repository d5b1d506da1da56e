// Reads the reply of a script's entry.

#ifndef STANDIN_SCRIPT_REPLY_READER_H
#define STANDIN_SCRIPT_REPLY_READER_H

#include "script/json_reader.h"
#include "script/reply.h"

namespace standin {

/// Throws ScriptError.
[[nodiscard]] Reply ReadReply(const JsonReader& json);

}  // namespace standin

#endif  // STANDIN_SCRIPT_REPLY_READER_H
