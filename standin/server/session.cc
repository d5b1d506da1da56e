// One connection from its first byte to the hang-up.

#include "server/session.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "core/frame.h"

namespace standin {
namespace {

/// STATUS_ERRNO_BASE plus EMSGSIZE: "Message too long" to the client.
constexpr std::uint32_t STATUS_TOO_LONG = 0x2bad005a;

class Session {
 public:
  Session(Connection& client, const Daemon& daemon) : client_(client), daemon_(daemon) {}

  Task<> Run() {
    const Outcome atConnect = daemon_.script.AtConnect();
    if (atConnect.reply) {
      co_await CloseEarly(atConnect, {});
      co_return;
    }
    std::string bytes;
    IoResult result = co_await client_.Read(bytes, HEADER_SIZE);
    if (result != IoResult::DONE) {
      co_await EndIncomplete(bytes, result);
      co_return;
    }
    const Header header = DecodeHeader(bytes);
    const Outcome atHeader = daemon_.script.AtHeader(header);
    if (atHeader.reply) {
      co_await CloseEarly(atHeader, header);
      co_return;
    }
    if (header.length > daemon_.maxPayload) {
      if (daemon_.proxy != nullptr) {
        co_await Pass(std::move(bytes), {});
      } else {
        co_await RefusePayload(header);
      }
      co_return;
    }
    std::string payload;
    result = co_await client_.Read(payload, header.length);
    if (result != IoResult::DONE) {
      co_await EndIncomplete(bytes + payload, result);
      co_return;
    }
    co_await ServeRequest(header, std::move(payload));
  }

 private:
  /// All else is between the client and the daemon.
  Task<> Pass(std::string bytes, Object more) {
    return daemon_.proxy->Serve(client_.shared_from_this(), std::move(bytes), std::move(more));
  }

  Task<> EndIncomplete(std::string bytes, IoResult result) {
    ReportIncomplete(bytes, result);
    if (daemon_.proxy != nullptr && result == IoResult::HUNG_UP) {
      co_await Pass(std::move(bytes), {});
    }
  }

  Task<> ServeRequest(const Header& header, std::string payload) {
    const Request request = DecodeRequest(header, std::move(payload));
    Outcome outcome = daemon_.script.AtRequest(request);
    Object more;
    AddEntry(more, outcome);
    if (outcome.reply->byDefault && daemon_.handler != nullptr) {
      outcome.reply = co_await daemon_.handler->Ask(client_.Number(), request, more);
    } else if (outcome.reply->byDefault && daemon_.proxy != nullptr) {
      co_await Pass(request.Bytes(), std::move(more));
      co_return;
    }
    if (outcome.reply->forward && daemon_.proxy == nullptr) {
      outcome.reply = Refusal("no daemon: --forward is missing");
    }
    more.push_back({"reply", DescribeReply(*outcome.reply)});
    if (!outcome.differences.empty()) {
      more.push_back({"differences", List(outcome.differences.begin(), outcome.differences.end())});
    }
    if (!outcome.reply->forward) {
      daemon_.log.WriteRequest(client_.Number(), request, more);
    } else if (daemon_.proxy != nullptr) {
      outcome.reply =
          co_await daemon_.proxy->Ask(client_, request, *outcome.reply, std::move(more));
    }
    if (outcome.reply) {
      co_await SendReply(*outcome.reply);
    }
  }

  Task<> SendReply(const Reply& reply) {
    const IoResult result = co_await Play(reply);
    if (result != IoResult::DONE) {
      daemon_.log.Write(client_.Number(), "reply-not-taken", {{"why", TextOf(result)}});
    }
    const std::string trailing = client_.TakeArrived();
    if (!trailing.empty()) {
      Object line = {{"bytes", trailing.size()}};
      daemon_.log.AddHex(line, trailing);
      daemon_.log.Write(client_.Number(), "trailing-bytes", std::move(line));
    }
  }

  /// Sends the reply, as far as the client takes it.
  Task<IoResult> Play(const Reply& reply) {
    IoResult result = co_await client_.Pause(reply.delay);
    if (result != IoResult::DONE) {
      co_return result;
    }
    switch (reply.type) {
      case Reply::Type::FRAME: {
        const std::string bytes = FrameBytes(reply);
        result = co_await SendBytes(bytes, reply.bytewise);
        break;
      }
      case Reply::Type::STREAM:
        for (const Chunk& chunk : reply.chunks) {
          result = co_await client_.Pause(chunk.pause);
          if (result == IoResult::DONE) {
            result = co_await SendBytes(chunk.bytes, reply.bytewise);
          }
          if (result != IoResult::DONE) {
            break;
          }
        }
        break;
      case Reply::Type::SILENCE:
        client_.AllowSilence();
        result = co_await client_.Discard(std::numeric_limits<std::uint64_t>::max());
        if (result != IoResult::STOPPED) {
          result = IoResult::DONE;
        }
        break;
      case Reply::Type::NOTHING:
      case Reply::Type::CLOSE_BEFORE_READING:
      case Reply::Type::CLOSE_AFTER_HEADER:
        break;
    }
    co_return result;
  }

  Task<IoResult> SendBytes(std::string_view bytes, bool bytewise) {
    IoResult result = IoResult::DONE;
    const std::size_t step = bytewise ? 1 : bytes.size();
    for (std::size_t sent = 0; sent < bytes.size() && result == IoResult::DONE; sent += step) {
      result = co_await client_.Send(bytes.substr(sent, step));
    }
    co_return result;
  }

  static void AddEntry(Object& line, const Outcome& outcome) {
    if (!outcome.entry.empty()) {
      line.push_back({"entry", outcome.entry});
    }
  }

  Task<> CloseEarly(const Outcome& outcome, const Header& header) {
    Object line;
    AddEntry(line, outcome);
    line.push_back({"reply", DescribeReply(*outcome.reply)});
    if (outcome.reply->type == Reply::Type::CLOSE_AFTER_HEADER) {
      line.push_back({"code", header.word});
      line.push_back({"length", header.length});
    }
    daemon_.log.Write(client_.Number(), "closed-early", std::move(line));
    (void)co_await client_.Pause(outcome.reply->delay);
  }

  /// Replies at once, then lets the client send what it announced: nothing of it is kept,
  /// and the client is not hung up on before it has read the reply.
  Task<> RefusePayload(const Header& header) {
    const std::string why = "payload of " + std::to_string(header.length) +
                            " bytes, the limit is " + std::to_string(daemon_.maxPayload);
    daemon_.log.Write(client_.Number(), "refused",
                      {{"code", header.word}, {"length", header.length}, {"why", why}});
    daemon_.script.AtFailure(why);
    const std::string frame = EncodeFrame(STATUS_TOO_LONG, why);
    (void)co_await client_.Send(frame);
    (void)co_await client_.Discard(header.length);
  }

  void ReportIncomplete(const std::string& bytes, IoResult result) {
    Object line = {{"bytes", bytes.size()}, {"why", TextOf(result)}};
    if (bytes.size() >= HEADER_SIZE) {
      const Header header = DecodeHeader(bytes);
      line.push_back({"code", header.word});
      line.push_back({"length", header.length});
    }
    daemon_.log.AddHex(line, bytes);
    daemon_.log.Write(client_.Number(), "incomplete", std::move(line));
    daemon_.script.AtFailure(std::to_string(bytes.size()) + " bytes, then " + TextOf(result));
  }

  Connection& client_;
  const Daemon& daemon_;
};

}  // namespace

Task<> PlayDaemon(std::shared_ptr<Connection> client, Daemon daemon) {
  Session session(*client, daemon);
  co_await session.Run();
}

}  // namespace standin
