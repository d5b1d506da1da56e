// Plays the daemon to a client: reads a request, logs it, carries out the answer.

#ifndef STANDIN_SERVER_SESSION_H
#define STANDIN_SERVER_SESSION_H

#include <chrono>
#include <cstdint>

#include "log/log.h"
#include "script/answer_source.h"
#include "server/handler.h"

namespace standin {

struct SessionLimits {
  std::uint64_t maxPayload = 16U << 20U;  ///< bytes
  std::chrono::milliseconds idleTime{60000};
};

class Sessions : public Handler {
 public:
  Sessions(Log& log, AnswerSource& source, const SessionLimits& limits)
      : log_(log), source_(source), limits_(limits) {}

  void Serve(Visitor visitor, const StopSignal& stop) override;
  [[nodiscard]] bool WantsToEnd() const override { return source_.HasFailed(); }

 private:
  Log& log_;
  AnswerSource& source_;
  SessionLimits limits_;
};

}  // namespace standin

#endif  // STANDIN_SERVER_SESSION_H
