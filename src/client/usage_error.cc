// Hands a message to Warning.

#include "client/usage_error.h"

#include "support/qslibs.h"

namespace trel {

// The formats are constants of the parser and the checks; tests print each of them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void ReportUsageError(const UsageError& error) {
  if (!IsError(error) || error.format[0] == '\0') {
    return;
  }
  // printf(3) ignores the arguments that a format does not take.
  if (error.text != nullptr) {
    Warning(error.format, error.text, error.number);
  } else {
    Warning(error.format, error.number);
  }
}
#pragma GCC diagnostic pop

}  // namespace trel
