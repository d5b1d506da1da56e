// The real stand-in daemon, run as a process of its own for one test.

#ifndef TESTS_SUPPORT_RUNNING_STANDIN_H
#define TESTS_SUPPORT_RUNNING_STANDIN_H

#include <sys/types.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/descriptor.h"
#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace tests {

using Json = nlohmann::ordered_json;

/// Path of the stand-in under test: the environment's TREL_STANDIN, else the one of
/// this build.
[[nodiscard]] std::string StandinPath();

/// Runs the stand-in with exactly these words to its end.
[[nodiscard]] ProcessResult RunStandin(std::vector<std::string> words);

struct StandinResult {
  int exitValue = -1;
  std::string err;
  std::vector<Json> log;  ///< the lines after the first, in their order

  /// The lines of one event.
  [[nodiscard]] std::vector<Json> Events(const std::string& event) const;
};

/// Listens on a socket in a fresh folder once it is constructed.
class RunningStandin {
 public:
  /// Starts `trel-standin --socket <folder>/s <words>` and waits for its first line.
  explicit RunningStandin(const std::vector<std::string>& words = {});
  /// The same with a script, which stands in the folder.
  RunningStandin(const Json& script, const std::vector<std::string>& words);
  ~RunningStandin();
  RunningStandin(const RunningStandin&) = delete;
  RunningStandin& operator=(const RunningStandin&) = delete;

  [[nodiscard]] std::string Socket() const { return folder_ / "s"; }
  [[nodiscard]] std::string InFolder(const std::string& name) const { return folder_ / name; }
  [[nodiscard]] const std::string& FirstLine() const { return firstLine_; }
  [[nodiscard]] pid_t Process() const { return process_->Number(); }

  /// Runs `trel-tool -s <socket> <words>`.
  [[nodiscard]] ProcessResult Client(std::vector<std::string> words) const;

  /// Connects, sends `bytes`, sends no more, and returns all that comes back.
  [[nodiscard]] std::string Exchange(const std::string& bytes) const;

  /// Waits for the next line of the log and takes it.
  [[nodiscard]] Json NextLine();

  /// Sends the signal and waits for the end.
  [[nodiscard]] StandinResult Stop(int signal = SIGTERM);
  /// Waits for the end.
  [[nodiscard]] StandinResult Finish();

 private:
  void Start(std::vector<std::string> words);
  /// Takes what the stand-in prints as it comes, so that it never has to wait.
  void ReadOutput();
  /// Waits for the next line; empty at the end.
  [[nodiscard]] std::string ReadLine();

  TempFolder folder_;
  standin::Descriptor output_;
  std::mutex mutex_;  ///< of the next two
  std::string unread_;
  bool outputEnded_ = false;
  std::condition_variable moreRead_;
  std::string firstLine_;
  std::optional<RunningProcess> process_;
  std::thread reader_;
};

}  // namespace tests

#endif  // TESTS_SUPPORT_RUNNING_STANDIN_H
