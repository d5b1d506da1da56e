// Two directions, each a coroutine with a buffer of its own.

#include "forward/proxy.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/unix_socket.h"
#include "forward/decoder.h"

namespace standin {
namespace {

/// A listen queue that is full cannot be waited for, only tried again.
constexpr std::chrono::milliseconds CONNECT_RETRY{10};

/// Both directions of a conversation.
struct Conversation {
  Connection& client;
  Connection& daemon;
  ConversationDecoder decoder;
  Event ended;               ///< of a direction
  bool clientEnded = false;  ///< it has hung up or sends no more
  bool hungUp = false;       ///< the daemon has, before the client
};

/// Passes bytes on until one side takes or sends no more. `held`: received before.
Task<> Pump(Conversation& conversation, bool toDaemon, std::string held) {
  Connection& from = toDaemon ? conversation.client : conversation.daemon;
  Connection& to = toDaemon ? conversation.daemon : conversation.client;
  IoResult received = IoResult::DONE;
  IoResult sent = IoResult::DONE;
  while (received == IoResult::DONE && sent == IoResult::DONE) {
    if (held.empty()) {
      std::string_view bytes;
      received = co_await from.Receive(std::string_view::npos, bytes);
      held = bytes;
    }
    if (received == IoResult::DONE) {
      if (toDaemon) {
        conversation.decoder.FromClient(held);
      } else {
        conversation.decoder.FromDaemon(held);
      }
      // A reply that is due is still passed on when the stand-in stops.
      conversation.daemon.SetPatient(conversation.decoder.AwaitsReply());
      sent = co_await to.Send(held);
      held.clear();
    }
  }
  if (toDaemon) {
    conversation.clientEnded = received != IoResult::DONE;
  } else {
    conversation.hungUp = received == IoResult::HUNG_UP && !conversation.clientEnded;
  }
  if (received == IoResult::STOPPED || sent == IoResult::STOPPED) {
    co_return;
  }
  if (received == IoResult::DONE) {
    // Nobody takes it any more: the sender finds out as it would have directly.
    shutdown(from.Fd(), SHUT_RD);
    co_return;
  }
  shutdown(to.Fd(), SHUT_WR);
  // What has been received is delivered; who has gone waits for nothing.
  std::string().swap(held);
  const bool gone = co_await from.AwaitGone();
  if (gone) {
    to.Abandon();
  }
}

/// The daemon's reply with its changes. What is no whole frame stays as it is, but for its
/// text and its end.
Reply Changed(const Reply& changes, std::string bytes, bool isFrame) {
  Reply reply = changes;
  if (isFrame) {
    const Header header = DecodeHeader(bytes);
    reply.status = changes.keepStatus ? header.word : changes.status;
    reply.payload =
        changes.keepPayload ? bytes.substr(HEADER_SIZE, header.length) : changes.payload;
  } else {
    reply.type = Reply::Type::STREAM;
    const bool own = changes.keepPayload || bytes.empty();
    reply.chunks.push_back({.bytes = own ? std::move(bytes) : changes.payload});
    std::string& sent = reply.chunks.back().bytes;
    sent.resize(std::min(sent.size(), changes.cutPayload.value_or(sent.size())));
  }
  return reply;
}

}  // namespace

Task<std::shared_ptr<Connection>> Proxy::Connect(Connection& client,
                                                 std::chrono::milliseconds patience) {
  const auto place = waiting_.emplace(client.Number(), &client).first;
  std::shared_ptr<Connection> daemon;
  std::string why;
  bool logged = false;
  for (;;) {
    if (place == waiting_.begin()) {
      try {
        Descriptor socket = TryConnect(daemonPath_, SOCK_STREAM | SOCK_NONBLOCK);
        if (socket.IsOpen()) {
          daemon =
              std::make_shared<Connection>(loop_, std::move(socket), client.Number(), patience);
          break;
        }
        if (errno != EAGAIN) {
          throw std::system_error(errno, std::generic_category(), daemonPath_);
        }
      } catch (const std::exception& error) {
        why = error.what();
        break;
      }
    }
    if (loop_.GetState() != Loop::State::RUNNING) {
      why = daemonPath_ + ": accepts nobody";
      break;
    }
    if (!logged) {
      logged = true;
      log_.Write(client.Number(), "daemon-busy", {{"why", daemonPath_ + ": accepts nobody"}});
    }
    co_await client.WaitUntil(place == waiting_.begin() ? Clock::now() + CONNECT_RETRY
                                                        : Clock::time_point::max());
  }
  const auto next = waiting_.erase(place);
  if (next != waiting_.end()) {
    next->second->EndWaits();
  }
  if (!daemon) {
    log_.Write(client.Number(), "daemon-unreachable", {{"why", why}});
  }
  co_return daemon;
}

Task<SharedReply> Proxy::Ask(Connection& client, const Request& request, const Reply& changes,
                             Object more) {
  const std::shared_ptr<Connection> daemon = co_await Connect(client, limits_.idleTime);
  if (!daemon) {
    co_return nullptr;
  }
  const std::string question = request.Bytes();
  ConversationDecoder decoder(log_, recorder_, client.Number(), limits_.maxPayload,
                              std::move(more));
  decoder.FromClient(question);
  daemon->SetPatient(true);
  IoResult result = co_await daemon->Send(question);
  std::string bytes;
  const std::size_t most = decoder.IsStream() ? changes.cutPayload.value_or(limits_.maxPayload)
                                              : HEADER_SIZE + limits_.maxPayload;
  while (result == IoResult::DONE && !decoder.HasFrame() && bytes.size() != most) {
    std::string_view piece;
    result = co_await daemon->Receive(most - bytes.size(), piece);
    if (result == IoResult::DONE) {
      bytes += piece;
      decoder.FromDaemon(piece);
    }
  }
  decoder.End(result == IoResult::HUNG_UP);
  co_return std::make_shared<Reply>(Changed(changes, std::move(bytes), decoder.HasFrame()));
}

Task<> Proxy::Serve(std::shared_ptr<Connection> client, std::string first, Object more) {
  const std::shared_ptr<Connection> daemon = co_await Connect(*client, {});
  if (!daemon) {
    co_return;
  }
  Conversation conversation{
      .client = *client,
      .daemon = *daemon,
      .decoder = {log_, recorder_, client->Number(), limits_.maxPayload, std::move(more)},
      .ended = Event(loop_.context)};
  bool replyEnded = false;
  const auto atEnd = [&](const std::exception_ptr& /*error*/) {
    replyEnded = true;
    conversation.ended.Notify();
  };
  asio::co_spawn(loop_.context.get_executor(), Pump(conversation, false, {}), atEnd);
  std::exception_ptr failure;
  try {
    co_await Pump(conversation, true, std::move(first));
  } catch (...) {
    failure = std::current_exception();
    client->Abandon();
    daemon->Abandon();
  }
  while (!replyEnded) {
    co_await conversation.ended.Wait();
  }
  conversation.decoder.End(conversation.hungUp);
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace standin
