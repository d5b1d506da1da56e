// A file that is written without ever waiting: what it does not take at once is kept, up to
// a limit, and offered again.

#ifndef STANDIN_LOG_OUTPUT_H
#define STANDIN_LOG_OUTPUT_H

#include <cstdint>
#include <string>

#include "core/descriptor.h"
#include "server/loop.h"

namespace standin {

/// Standard output or standard error, in a way that leaves its flags to the processes
/// that share it. Throws std::system_error.
[[nodiscard]] Descriptor OpenStandard(int fd);

/// Opens `path` for appending, or empties it; makes the file with mode 0600 and follows no
/// link. -1 if it is a FIFO that nobody reads yet. Throws std::system_error, whose text
/// begins with `what`.
enum class Opening { APPEND, EMPTY };
[[nodiscard]] Descriptor OpenOutput(const char* what, const std::string& path, Opening opening);

class Output {
 public:
  /// Writes to `file`: regular, or one that poll(2) knows. `changed` is notified when that
  /// fails, or when nothing is kept any more. Must outlive all that the loop runs.
  Output(Loop& loop, Event& changed, Descriptor file);

  /// Writes the line, or keeps it for later. Beyond 16 MiB that are kept it is lost.
  void Write(std::string line);

  /// Waits for the reader to take what is kept, for as long as it takes some, and no longer
  /// than to `end`, which may change meanwhile.
  [[nodiscard]] Task<> Drain(const Clock::time_point& end);

  [[nodiscard]] bool HasKept() const { return !kept_.empty(); }
  /// Bytes that have been written since the start.
  [[nodiscard]] std::uint64_t Written() const { return written_; }
  /// Lines that have not been written whole.
  [[nodiscard]] std::uint64_t LinesMissing() const;
  /// The errno value of a failed write, 0 if there was none. None is tried after that.
  [[nodiscard]] int Error() const { return error_; }

 private:
  /// Offers what is kept.
  void Flush();
  [[nodiscard]] Task<> FlushLater();

  Loop& loop_;
  Event& changed_;
  Descriptor file_;
  bool regular_;
  std::string kept_;
  std::size_t taken_ = 0;  ///< bytes of `kept_` that are written
  std::uint64_t written_ = 0;
  std::uint64_t linesLost_ = 0;
  int error_ = 0;
  bool flushesLater_ = false;
};

}  // namespace standin

#endif  // STANDIN_LOG_OUTPUT_H
