// Command lines of the contract with their requests and how their replies are treated,
// for tests that concern every request or every reply.

#ifndef TESTS_SUPPORT_COMMAND_SAMPLES_H
#define TESTS_SUPPORT_COMMAND_SAMPLES_H

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "contract/contract.h"

namespace tests {

using contract::ReplyMode;

struct CommandSample {
  const contract::Command* command;
  std::string name;                ///< of the contract's example; letters and digits
  std::vector<std::string> words;  ///< after `trel-tool -s <socket>`
  ReplyMode mode;
  std::string header;   ///< the request's first 8 bytes
  std::string payload;  ///< what follows them
  std::string fields;   ///< decoded, as the text of a JSON object; empty if not stated

  [[nodiscard]] std::string Request() const { return header + payload; }
  [[nodiscard]] bool IsFramed() const {
    return mode == ReplyMode::PRINT || mode == ReplyMode::SILENT;
  }
  /// Whether the client builds the payload in memory of its own, released after the send.
  [[nodiscard]] bool HasHeapRecord() const { return command->payload->name == "global-exclusion"; }
  /// Whether the client copies an option's text.
  [[nodiscard]] bool CopiesText() const { return command->payload->name == "json"; }
};

/// Every example of the contract.
[[nodiscard]] std::vector<CommandSample> AllSamples();

/// The example with the fewest words of each command in each of its reply modes.
[[nodiscard]] std::vector<CommandSample> SampleOfEachCommand();

/// The first example of each payload type in each reply mode.
[[nodiscard]] std::vector<CommandSample> SampleOfEachPayload();

/// Those of `samples` for which `holds`, a function or a member of the sample, is true.
template <typename Predicate>
[[nodiscard]] std::vector<CommandSample> Only(std::vector<CommandSample> samples, Predicate holds) {
  std::erase_if(samples, [&](const CommandSample& sample) { return !std::invoke(holds, sample); });
  return samples;
}

/// What the client prints if the daemon says "ok".
[[nodiscard]] std::string OkOutput(const CommandSample& sample);

/// Names a test after its sample.
[[nodiscard]] std::string SampleName(const testing::TestParamInfo<CommandSample>& test);
/// Shows a sample by its name in the test's output.
void PrintTo(const CommandSample& sample, std::ostream* out);

}  // namespace tests

#endif  // TESTS_SUPPORT_COMMAND_SAMPLES_H
