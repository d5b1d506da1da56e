// A file that is written without ever waiting: what it does not take at once is kept, up to
// a limit, and offered again.

#ifndef STANDIN_LOG_OUTPUT_H
#define STANDIN_LOG_OUTPUT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/descriptor.h"

namespace standin {

class Output {
 public:
  /// Writes to `file`: regular, or one that poll(2) knows.
  explicit Output(Descriptor file);

  /// Standard output or standard error, in a way that leaves its flags to the processes
  /// that share it. Throws std::system_error.
  [[nodiscard]] static Output Standard(int fd);

  /// Opens `path` for appending, or empties it; makes the file with mode 0600 and follows no
  /// link. None if it is a FIFO that nobody reads yet. Throws std::system_error, whose text
  /// begins with `what`.
  enum class Opening { APPEND, EMPTY };
  [[nodiscard]] static std::optional<Output> Open(const char* what, const std::string& path,
                                                  Opening opening);

  /// Writes the line, or keeps it for later. Beyond 16 MiB that are kept it is lost.
  void Write(std::string line);

  /// Offers what is kept.
  void Flush();

  [[nodiscard]] bool HasKept() const { return !kept_.empty(); }
  /// Bytes that have been written since the start.
  [[nodiscard]] std::uint64_t Written() const { return written_; }
  /// Lines that have not been written whole.
  [[nodiscard]] std::uint64_t LinesMissing() const;
  /// The errno value of a failed write, 0 if there was none. None is tried after that.
  [[nodiscard]] int Error() const { return error_; }

 private:
  Descriptor file_;
  bool regular_;
  std::string kept_;
  std::size_t taken_ = 0;  ///< bytes of `kept_` that are written
  std::uint64_t written_ = 0;
  std::uint64_t linesLost_ = 0;
  int error_ = 0;
};

}  // namespace standin

#endif  // STANDIN_LOG_OUTPUT_H
