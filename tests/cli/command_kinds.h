// One command for each kind of request payload and each way to treat the reply:
// its words, its request byte by byte, its receive time-out.

#ifndef TESTS_FAULTS_COMMAND_KINDS_H
#define TESTS_FAULTS_COMMAND_KINDS_H

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "core/steps.h"

namespace tests {

enum class Mode { STREAM, PRINT, SILENT, NONE };

struct CommandKind {
  const char* name;                ///< for the test's name
  std::vector<std::string> words;  ///< behind `trel-tool -s <socket>`
  Mode mode;
  std::string header;        ///< the request's first 8 bytes
  std::string payload = {};  ///< what follows them
  int timeoutSeconds = 20;
  /// Whether the payload is built in memory of its own, released after the send.
  bool heapRecord = false;
  /// Whether an option's text is copied by strdup(3).
  bool copiesText = false;
};

[[nodiscard]] const std::vector<CommandKind>& CommandKinds();

/// The kinds whose reply is treated so.
[[nodiscard]] std::vector<CommandKind> KindsWithMode(Mode mode);
/// The kinds with a framed reply.
[[nodiscard]] std::vector<CommandKind> FramedKinds();
/// The kinds with a payload in their request.
[[nodiscard]] std::vector<CommandKind> KindsWithPayload();
/// The kinds that build their payload in memory of its own.
[[nodiscard]] std::vector<CommandKind> KindsWithHeapRecord();
/// The kinds that copy a text of the command line.
[[nodiscard]] std::vector<CommandKind> KindsThatCopyText();

/// A daemon that says "ok" as soon as it is called, then reads all it is sent: it
/// answers whatever becomes of the request.
[[nodiscard]] std::vector<standin::Step> AnswerOk(const CommandKind& kind);
/// What the client prints then.
[[nodiscard]] std::string OkOutput(const CommandKind& kind);

/// Names a test after its kind.
[[nodiscard]] std::string KindName(const testing::TestParamInfo<CommandKind>& test);
/// Shows a kind by its name in the test's output.
void PrintTo(const CommandKind& kind, std::ostream* out);

}  // namespace tests

#endif  // TESTS_FAULTS_COMMAND_KINDS_H
