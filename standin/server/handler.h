// A program of the user's that replies to requests: it reads each as a line of JSON and
// prints the reply as a line of JSON.

#ifndef STANDIN_SERVER_HANDLER_H
#define STANDIN_SERVER_HANDLER_H

#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "command.h"
#include "log/log.h"
#include "script/reply.h"
#include "server/connection.h"

namespace standin {

class Handler {
 public:
  /// Starts `command` by sh(1). It has `patience` for each reply. Must outlive all that the
  /// loop runs. Throws std::system_error.
  Handler(Loop& loop, Log& log, const std::string& command, std::chrono::seconds patience);

  /// The handler's reply to a request, after those to all earlier ones. It reads what a log
  /// line shows of the request, and the members of `more`. A handler that ends,
  /// is silent for too long or prints anything but one line for each request is asked no
  /// more: this one and all later ones are refused.
  [[nodiscard]] Task<SharedReply> Ask(std::uint64_t connection, const Request& request,
                                      const Object& more);

  /// Its input ends, so that it ends too.
  void EndInput();
  /// Whether it has ended; never waits.
  [[nodiscard]] bool HasEnded() { return process_->HasEnded(); }
  /// After its end or the wait for that: what was wrong first, empty if nothing.
  [[nodiscard]] std::string Failure();

 private:
  /// Sends a line and receives one, whose end it takes off. Throws std::runtime_error.
  [[nodiscard]] Task<std::string> Exchange(std::string line);
  [[nodiscard]] Task<SharedReply> ReplyTo(std::string line, std::uint64_t connection);
  /// Throws std::runtime_error unless `result` is that all went well.
  void Check(IoResult result) const;

  Loop& loop_;
  Log& log_;
  std::chrono::seconds patience_;
  std::unique_ptr<Command> process_;
  std::shared_ptr<Connection> pipe_;  ///< its standard input and output
  Timer limit_;                       ///< of an exchange
  std::uint64_t exchanges_ = 0;       ///< begun and ended ones
  std::list<Event*> waiting_;         ///< those whose requests came in this order
  bool broken_ = false;               ///< it is asked no more
  std::string failure_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_HANDLER_H
