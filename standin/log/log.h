// The log: one JSON object a line, in ASCII, each written before the reply that it is about
// is sent, if its reader keeps up.

#ifndef STANDIN_LOG_LOG_H
#define STANDIN_LOG_LOG_H

#include <cstdint>
#include <string_view>

#include "json/json.h"
#include "log/output.h"
#include "protocol/request.h"

namespace standin {

class Log {
 public:
  /// `output` must outlive the log.
  Log(Output& output, bool withHex) : output_(output), withHex_(withHex) {}

  /// Writes a line: time, connection, event and what `more` holds.
  void Write(std::uint64_t connection, std::string_view event, Object more);

  /// Writes a complete request, with what is done about it.
  void WriteRequest(std::uint64_t connection, const Request& request, const Object& more);

  /// The line that WriteRequest writes, texts and lists cut to `most` bytes.
  [[nodiscard]] std::string RequestLine(std::uint64_t connection, const Request& request,
                                        const Object& more, std::size_t most) const;

  /// Adds a text to a line's members, cut to 4096 bytes unless all bytes are wanted; then
  /// "cut" says how long it is.
  void AddText(Object& line, std::string_view name, std::string_view text,
               std::uint64_t size) const;

  /// Adds "hex" with `bytes` to a line's members if hexadecimal digits are wanted.
  void AddHex(Object& line, std::string_view bytes) const;

  /// How many bytes of a text a line shows.
  [[nodiscard]] std::size_t ShownSize() const;

 private:
  Output& output_;
  bool withHex_;
};

}  // namespace standin

#endif  // STANDIN_LOG_LOG_H
