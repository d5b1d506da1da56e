// The phases of a run of trel-standin, in their order.

#ifndef STANDIN_RUN_H
#define STANDIN_RUN_H

#include "options.h"

namespace standin {

/// Returns the exit value; what went wrong has been reported on standard error.
[[nodiscard]] int RunStandin(const Options& options);

}  // namespace standin

#endif  // STANDIN_RUN_H
