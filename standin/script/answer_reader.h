// Reads the answer of a script's entry.

#ifndef STANDIN_SCRIPT_ANSWER_READER_H
#define STANDIN_SCRIPT_ANSWER_READER_H

#include "script/answer.h"
#include "script/json_reader.h"

namespace standin {

/// Throws ScriptError.
[[nodiscard]] Answer ReadAnswer(const JsonReader& json);

}  // namespace standin

#endif  // STANDIN_SCRIPT_ANSWER_READER_H
