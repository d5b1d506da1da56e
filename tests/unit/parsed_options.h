// A command line after the option parser: the record, the outcome, what was printed.

#ifndef TESTS_UNIT_PARSED_OPTIONS_H
#define TESTS_UNIT_PARSED_OPTIONS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/options.h"
#include "unit/command_line.h"

namespace tests {

struct Parsed {
  Options options;
  trel::ParseResult result;
  std::string message;      ///< of the program
  std::string libraryText;  ///< of the C library
};

inline Parsed Parse(const std::vector<std::string>& words) {
  CommandLine line(words);
  Parsed parsed;
  testing::internal::CaptureStderr();
  parsed.result = trel::ParseOptions(line.Count(), line.Vector(), *parsed.options);
  parsed.libraryText = testing::internal::GetCapturedStderr();
  parsed.message = MessageOf(parsed.result.error);
  return parsed;
}

/// All options accepted, no help asked for.
inline testing::AssertionResult Accepts(const Parsed& parsed) {
  if (trel::IsError(parsed.result.error) || parsed.result.helpAsked) {
    return testing::AssertionFailure() << parsed.message << parsed.libraryText;
  }
  return testing::AssertionSuccess();
}

/// Refused with exactly this message of the program.
inline testing::AssertionResult RefusedWith(const std::string& message, const Parsed& parsed) {
  if (!trel::IsError(parsed.result.error) || parsed.result.helpAsked || parsed.message != message ||
      !parsed.libraryText.empty()) {
    return testing::AssertionFailure() << "got: " << parsed.message << parsed.libraryText;
  }
  return testing::AssertionSuccess();
}
}  // namespace tests

#endif  // TESTS_UNIT_PARSED_OPTIONS_H
