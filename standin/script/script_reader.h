// Reads a script file. Refuses whatever the installed schema refuses, and says
// where and why.

#ifndef STANDIN_SCRIPT_SCRIPT_READER_H
#define STANDIN_SCRIPT_SCRIPT_READER_H

#include <memory>
#include <stdexcept>
#include <string>

#include "script/script.h"

namespace standin {

/// The text says what is wrong with the script, file and place first.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws ScriptError.
[[nodiscard]] std::unique_ptr<Script> ReadScript(const std::string& path);

}  // namespace standin

#endif  // STANDIN_SCRIPT_SCRIPT_READER_H
