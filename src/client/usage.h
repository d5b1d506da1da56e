// The help text.

#ifndef TREL_CLIENT_USAGE_H
#define TREL_CLIENT_USAGE_H

namespace trel {

/// Writes the help text to standard output through its buffer, without a flush
/// and without looking for write errors. `programName`: the first word of the
/// argument vector, with its directory if it has one.
void PrintUsage(const char* programName);

}  // namespace trel

#endif  // TREL_CLIENT_USAGE_H
