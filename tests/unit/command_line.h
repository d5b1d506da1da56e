// A command line as the entry function gets it, and a record with its buffers.

#ifndef TESTS_UNIT_COMMAND_LINE_H
#define TESTS_UNIT_COMMAND_LINE_H

#include <getopt.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/client_options.h"
#include "client/options.h"
#include "client/payload.h"

namespace tests {

/// The words of a command line as a vector that getopt_long(3) may reorder.
class CommandLine {
 public:
  /// `words` follow the program's name, `trel-tool`.
  explicit CommandLine(std::vector<std::string> words) : texts_(std::move(words)) {
    texts_.insert(texts_.begin(), "trel-tool");
    for (std::string& text : texts_) {
      pointers_.push_back(text.data());
    }
    pointers_.push_back(nullptr);
    unsetenv("POSIXLY_CORRECT");  // of the tests' caller
    optind = 0;                   // has the C library start over
  }

  [[nodiscard]] int Count() const { return static_cast<int>(texts_.size()); }
  [[nodiscard]] char** Vector() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

/// Options at their defaults, with the zero-filled buffers that a run has.
struct Options {
  std::vector<char> destinationBuffer = std::vector<char>(trel::UUID_LIST_CAPACITY);
  std::vector<char> exclusionBuffer = std::vector<char>(trel::UUID_LIST_CAPACITY);
  std::unique_ptr<trel::LargeRequests> requests = std::make_unique<trel::LargeRequests>();
  std::unique_ptr<trel::ClientOptions> record = std::make_unique<trel::ClientOptions>();

  Options() {
    record->destinationList = destinationBuffer.data();
    record->exclusionList = exclusionBuffer.data();
    record->largeRequests = requests.get();
  }

  trel::ClientOptions* operator->() const { return record.get(); }
  trel::ClientOptions& operator*() const { return *record; }
};

/// What is printed for `error`, which refers to a command line that still exists.
[[nodiscard]] inline std::string MessageOf(const trel::UsageError& error) {
  testing::internal::CaptureStderr();
  trel::ReportUsageError(error);
  return testing::internal::GetCapturedStderr();
}

/// A well-formed list of `count` entries.
[[nodiscard]] inline std::string UuidList(std::size_t count) {
  std::string list;
  for (std::size_t entry = 0; entry < count; ++entry) {
    list += entry == 0 ? "" : ",";
    list += "01234567-89ab-cdef-0123-456789abcdef";
  }
  return list;
}

}  // namespace tests

#endif  // TESTS_UNIT_COMMAND_LINE_H
