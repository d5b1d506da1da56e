// The log: one JSON object a line, each written whole.

#ifndef STANDIN_LOG_LOG_H
#define STANDIN_LOG_LOG_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "core/descriptor.h"
#include "protocol/request.h"

namespace standin {

class Log {
 public:
  /// Appends to the file at `path`, standard output if it is empty. Throws
  /// std::system_error.
  Log(const std::string& path, bool withHex);

  /// Writes a line: time, connection, event and what `more` holds.
  void Write(std::uint64_t connection, const char* event, const Json& more = Json::object());

  /// Writes a complete request, with what is done about it.
  void WriteRequest(std::uint64_t connection, const Request& request, const Json& more);

  /// Adds "hex" with `bytes` to a line's members if hexadecimal digits are wanted.
  void AddHex(Json& line, std::string_view bytes) const;

  /// Whether a line could not be written. None is tried after that.
  [[nodiscard]] bool HasFailed() const { return failed_; }

 private:
  Descriptor file_;
  bool withHex_;
  std::mutex mutex_;
  std::atomic<bool> failed_ = false;
};

}  // namespace standin

#endif  // STANDIN_LOG_LOG_H
