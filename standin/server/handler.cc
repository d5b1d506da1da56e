// A socket pair is its standard input and output. One request at a time: replies cannot mix.

#include "server/handler.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "json/json.h"

namespace standin {
namespace {

constexpr std::size_t LONGEST_LINE = 16U << 20U;
constexpr std::size_t PIECE = 65536;

/// Reads the reply in `line`. Throws std::runtime_error.
SharedReply ReadLine(const std::string& line) {
  const Value value = ParseJson(line);
  Reply reply = ReadReply(JsonReader(value, "its reply", "."));
  if (reply.type == Reply::Type::CLOSE_BEFORE_READING ||
      reply.type == Reply::Type::CLOSE_AFTER_HEADER) {
    throw std::runtime_error("its reply/close: the request has been read by now");
  }
  return std::make_shared<Reply>(std::move(reply));
}

}  // namespace

Handler::Handler(Loop& loop, Log& log, const std::string& command, std::chrono::seconds patience)
    : loop_(loop), log_(log), patience_(patience), limit_(loop.context.get_executor()) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  Descriptor ours(ends[0]);
  const Descriptor its(ends[1]);
  process_ = std::make_unique<Command>(std::vector<std::string>{"sh", "-c", command}, its.Get());
  pipe_ = std::make_shared<Connection>(loop, std::move(ours), 0, std::chrono::milliseconds(0));
  // Replies that are due are waited for when the stand-in stops.
  pipe_->SetPatient(true);
}

void Handler::Check(IoResult result) const {
  switch (result) {
    case IoResult::DONE:
      return;
    case IoResult::IDLE:
      throw std::runtime_error("it did not reply within " + std::to_string(patience_.count()) +
                               " seconds");
    case IoResult::STOPPED:
    case IoResult::HUNG_UP:
      throw std::runtime_error("it ended before it replied");
  }
}

Task<std::string> Handler::Exchange(std::string line) {
  if (!pipe_->TakeArrived().empty()) {
    throw std::runtime_error("it printed more than one line for a request");
  }
  limit_.expires_after(patience_);
  limit_.async_wait([this, exchange = ++exchanges_](const std::error_code& /*any*/) {
    if (exchange == exchanges_) {
      pipe_->BecomeIdle();
    }
  });
  Check(co_await pipe_->Send(line));
  line.clear();
  std::string_view piece;
  std::size_t end = std::string_view::npos;
  do {
    Check(co_await pipe_->Receive(PIECE, piece));
    end = piece.find('\n');
    line += piece.substr(0, end);
    if (line.size() > LONGEST_LINE) {
      throw std::runtime_error("it printed a line of more than 16 MiB");
    }
  } while (end == std::string_view::npos);
  if (end + 1 != piece.size()) {
    throw std::runtime_error("it printed more than one line for a request");
  }
  ++exchanges_;
  co_return line;
}

Task<SharedReply> Handler::ReplyTo(std::string line, std::uint64_t connection) {
  std::string why;
  try {
    if (!broken_) {
      broken_ = true;
      const std::string reply = co_await Exchange(std::move(line));
      broken_ = false;
      co_return ReadLine(reply);
    }
    why = "it is asked no more";
  } catch (const std::exception& error) {
    why = error.what();
    failure_ = failure_.empty() ? why : failure_;
    if (broken_) {
      process_->Signal(SIGKILL);
    }
  }
  log_.Write(connection, "handler-failed", {{"why", why}});
  co_return Refusal("the handler failed");
}

Task<SharedReply> Handler::Ask(std::uint64_t connection, const Request& request,
                               const Object& more) {
  std::string line = log_.RequestLine(connection, request, more, LONGEST_LINE);
  Event turn(loop_.context);
  waiting_.push_back(&turn);
  while (waiting_.front() != &turn) {
    co_await turn.Wait();
  }
  SharedReply reply = co_await ReplyTo(std::move(line), connection);
  waiting_.pop_front();
  if (!waiting_.empty()) {
    waiting_.front()->Notify();
  }
  co_return reply;
}

void Handler::EndInput() { shutdown(pipe_->Fd(), SHUT_WR); }

std::string Handler::Failure() {
  if (!failure_.empty()) {
    return failure_;
  }
  return HasEnded() ? process_->Failure() : "it did not end with its input";
}

}  // namespace standin
