// One connection from its first byte to the hang-up.

#include "server/session.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/frame.h"
#include "server/wire.h"

namespace standin {
namespace {

/// STATUS_ERRNO_BASE plus EMSGSIZE: "Message too long" to the client.
constexpr std::uint32_t STATUS_TOO_LONG = 0x2bad005a;

class Session {
 public:
  Session(Log& log, AnswerSource& source, const SessionLimits& limits, Wire& wire,
          std::uint64_t connection)
      : log_(log), source_(source), limits_(limits), wire_(wire), connection_(connection) {}

  void Run() {
    wire_.AwaitTurn();
    if (const auto answer = source_.AtConnect()) {
      return CloseEarly("connect", *answer);
    }
    std::string header;
    const Wire::End end = wire_.Read(header, HEADER_SIZE);
    if (end != Wire::End::DONE) {
      return ReportIncomplete(header, end);
    }
    ServeHeader(header);
  }

 private:
  void ServeHeader(const std::string& bytes) {
    const Header header = DecodeHeader(bytes);
    wire_.AwaitTurn();
    if (const auto answer = source_.AtHeader(header)) {
      return CloseEarly("header", *answer, header);
    }
    if (header.length > limits_.maxPayload) {
      return RefusePayload(header);
    }
    std::string payload;
    const Wire::End end = wire_.Read(payload, header.length);
    if (end != Wire::End::DONE) {
      return ReportIncomplete(bytes + payload, end);
    }
    ServeRequest(DecodeRequest(header, std::move(payload)));
  }

  void ServeRequest(const Request& request) {
    wire_.AwaitTurn();
    const Verdict verdict = source_.AtRequest(request);
    Json more = {{"answer", DescribeAnswer(verdict.answer)}};
    if (!verdict.differences.empty()) {
      more["differences"] = verdict.differences;
    }
    log_.WriteRequest(connection_, request, more);
    wire_.LeaveTurn();

    const Wire::End end = Play(verdict.answer);
    if (end != Wire::End::DONE) {
      log_.Write(connection_, "answer-not-taken", {{"why", TextOf(end)}});
    }
    const std::string trailing = wire_.TakeArrived();
    if (!trailing.empty()) {
      Json line = {{"bytes", trailing.size()}};
      log_.AddHex(line, trailing);
      log_.Write(connection_, "trailing-bytes", line);
    }
  }

  /// Sends the answer, as far as the client takes it.
  Wire::End Play(const Answer& answer) {
    const Wire::End delayed = wire_.Pause(answer.delay);
    if (delayed != Wire::End::DONE) {
      return delayed;
    }
    switch (answer.kind) {
      case Answer::Kind::FRAME:
        return SendBytes(FrameBytes(answer), answer.bytewise);
      case Answer::Kind::STREAM:
        return SendChunks(answer);
      case Answer::Kind::SILENCE: {
        const Wire::End end = wire_.AwaitHangUp();
        return end == Wire::End::HUNG_UP || end == Wire::End::BROKEN ? Wire::End::DONE : end;
      }
      case Answer::Kind::NOTHING:
      case Answer::Kind::CLOSE_BEFORE_READING:
      case Answer::Kind::CLOSE_AFTER_HEADER:
        break;
    }
    return Wire::End::DONE;
  }

  Wire::End SendChunks(const Answer& answer) {
    Wire::End end = Wire::End::DONE;
    for (const Chunk& chunk : answer.chunks) {
      end = wire_.Pause(chunk.pause);
      if (end == Wire::End::DONE) {
        end = SendBytes(chunk.bytes, answer.bytewise);
      }
      if (end != Wire::End::DONE) {
        break;
      }
    }
    return end;
  }

  Wire::End SendBytes(std::string_view bytes, bool bytewise) {
    Wire::End end = Wire::End::DONE;
    const std::size_t step = bytewise ? 1 : std::max<std::size_t>(bytes.size(), 1);
    for (std::size_t place = 0; place < bytes.size() && end == Wire::End::DONE; place += step) {
      end = wire_.Send(bytes.substr(place, step));
    }
    return end;
  }

  void CloseEarly(const char* moment, const Answer& answer, const Header& header = {}) {
    Json line = {{"after", moment}, {"answer", DescribeAnswer(answer)}};
    if (answer.kind == Answer::Kind::CLOSE_AFTER_HEADER) {
      line["code"] = header.word;
      line["length"] = header.length;
    }
    log_.Write(connection_, "closed-early", line);
    wire_.LeaveTurn();
    (void)wire_.Pause(answer.delay);
  }

  /// Answers at once, then lets the client send what it announced: nothing of it
  /// is kept, and the client is not hung up on before it has read the answer.
  void RefusePayload(const Header& header) {
    const std::string why = "payload of " + std::to_string(header.length) +
                            " bytes, the limit is " + std::to_string(limits_.maxPayload);
    log_.Write(connection_, "refused",
               {{"code", header.word}, {"length", header.length}, {"why", why}});
    source_.AtFailure(why);
    wire_.LeaveTurn();
    if (wire_.Send(EncodeFrame(STATUS_TOO_LONG, why)) == Wire::End::DONE) {
      wire_.Discard(header.length);
    }
  }

  void ReportIncomplete(const std::string& bytes, Wire::End end) {
    wire_.AwaitTurn();
    Json line = {{"bytes", bytes.size()}, {"why", TextOf(end)}};
    if (bytes.size() >= HEADER_SIZE) {
      const Header header = DecodeHeader(bytes);
      line["code"] = header.word;
      line["length"] = header.length;
    }
    log_.AddHex(line, bytes);
    log_.Write(connection_, "incomplete", line);
    source_.AtFailure(std::to_string(bytes.size()) + " bytes, then " + TextOf(end));
  }

  Log& log_;
  AnswerSource& source_;
  const SessionLimits& limits_;
  Wire& wire_;
  std::uint64_t connection_;
};

}  // namespace

void Sessions::Serve(Visitor visitor, const StopSignal& stop) {
  const std::uint64_t connection = visitor.connection;
  Wire wire(std::move(visitor), stop, limits_.idleTime);
  Session(log_, source_, limits_, wire, connection).Run();
}

}  // namespace standin
