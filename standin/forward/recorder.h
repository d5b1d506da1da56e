// What passes between clients and a daemon, as a script: played back, it gives the same bytes.

#ifndef STANDIN_FORWARD_RECORDER_H
#define STANDIN_FORWARD_RECORDER_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "core/descriptor.h"
#include "protocol/request.h"

namespace standin {

class Recorder {
 public:
  /// Makes `path` anew, with mode 0600; follows no link. Throws std::system_error.
  explicit Recorder(const std::string& path);

  /// Records a request of a client, and that its reply is the bytes that follow.
  void AddRequest(std::uint64_t connection, const Request& request);
  void AddReply(std::uint64_t connection, std::string_view bytes);
  /// The conversation is over. `framed`: the reply is a frame. `hungUp`: by the daemon.
  void End(std::uint64_t connection, bool framed, bool hungUp);

  /// Writes the strict sequence of the requests, in the order of their connections. What
  /// could not be recorded, as a line, or empty. Throws std::system_error.
  [[nodiscard]] std::string Write();

 private:
  struct Exchange {
    Object entry = {};
    std::string reply = {};
  };

  Descriptor file_;
  std::map<std::uint64_t, Exchange> exchanges_;
  std::size_t size_ = 0;  ///< bytes of all replies
  std::uint64_t lost_ = 0;
};

}  // namespace standin

#endif  // STANDIN_FORWARD_RECORDER_H
