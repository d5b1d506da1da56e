// Several clients at once through the stand-in's sessions and event loop: they connect, send
// pieces, stop sending, hang up and read in any order, while a script asks for faults. Each
// connection is logged once and gets its own reply and no other; nothing is left at the end.

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/frame.h"
#include "log/log.h"
#include "script/script.h"
#include "server/session.h"
#include "tests/fake/require.h"

namespace fuzz {
namespace {

using fake::Require;
using standin::Connection;
using standin::Descriptor;
using standin::Loop;

constexpr std::uint64_t MOST_PAYLOAD = 2000;
constexpr std::size_t MOST_STEPS = 64;
constexpr std::chrono::milliseconds HOUR{3600000};

struct ScriptCase {
  const char* text;
  bool stateless;  ///< what it replies does not depend on who has asked before
};

constexpr std::array<ScriptCase, 4> SCRIPTS = {{
    {R"({"rules": []})", true},
    {R"({"rules": [{"command": "stats", "reply": {"stream": [{"text": "a"},
          {"pause": 3600000, "text": "b"}]}},
        {"command": "crawler", "reply": {"delay": 3600000, "text": "late", "bytewise": true}},
        {"command": "fix-concats", "reply": {"close": "after-header"}},
        {"command": "log-level", "reply": {"silent": true}},
        {"command": "what-if-cancel", "reply": {"text": "text", "length": 9, "cutPayload": 2}},
        {"reply": {"status": 5, "text": "refused", "cutHeader": 6}}]})",
     true},
    {R"({"rules": [{"times": 1, "reply": {"close": "before-reading", "delay": 3600000}},
        {"times": 2, "reply": {"text": "first"}}, {"reply": {"close": "after-request"}}]})",
     false},
    {R"({"sequence": [{"command": "stats"}, {"reply": {"close": "after-header"}},
        {"reply": {"close": "before-reading"}}, {"command": "crawler"}]})",
     false},
}};

/// A file in memory that holds `text`.
int MemoryFile(const char* text) {
  const int fd = memfd_create("fuzz", MFD_CLOEXEC);
  const auto size = static_cast<ssize_t>(std::strlen(text));
  Require(fd >= 0 && write(fd, text, std::strlen(text)) == size, "memfd_create");
  return fd;
}

standin::Script MakeScript(std::size_t number) {
  const Descriptor file(MemoryFile(SCRIPTS.at(number).text));
  return standin::ReadScript("/proc/self/fd/" + std::to_string(file.Get()));
}

/// What a script replies to all that a client has sent; a stateless one.
std::string ReplyTo(standin::Script& script, const std::string& sent) {
  if (script.AtConnect().reply || sent.size() < standin::HEADER_SIZE) {
    return "";
  }
  const standin::Header header = standin::DecodeHeader(sent);
  if (script.AtHeader(header).reply) {
    return "";
  }
  if (header.length > MOST_PAYLOAD) {
    return standin::EncodeFrame(
        0x2bad005a, "payload of " + std::to_string(header.length) + " bytes, the limit is 2000");
  }
  if (sent.size() < standin::HEADER_SIZE + header.length) {
    return "";
  }
  const standin::Outcome outcome = script.AtRequest(
      standin::DecodeRequest(header, sent.substr(standin::HEADER_SIZE, header.length)));
  std::string bytes;
  if (outcome.reply->type == standin::Reply::Type::FRAME) {
    bytes = standin::FrameBytes(*outcome.reply);
  }
  for (const standin::Chunk& chunk : outcome.reply->chunks) {
    bytes += chunk.bytes;
  }
  return bytes;
}

struct Client {
  Descriptor socket;
  std::weak_ptr<Connection> connection;
  std::string sent;
  std::string received;
  bool whole = true;  ///< nothing kept it from getting all of its reply
};

class Conversations {
 public:
  explicit Conversations(std::size_t script)
      : stateless_(SCRIPTS.at(script).stateless),
        script_(MakeScript(script)),
        model_(MakeScript(script)),
        logFile_(MemoryFile("")),
        output_(loop_, changed_, Descriptor(dup(logFile_.Get()))),
        log_(output_, false) {}

  void Connect() {
    std::array<int, 2> ends{};
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()) == 0, "socketpair");
    const auto connection =
        std::make_shared<Connection>(loop_, Descriptor(ends[0]), clients_.size() + 1, HOUR);
    clients_.push_back(
        {.socket = Descriptor(ends[1]), .connection = connection, .sent = {}, .received = {}});
    ++running_;
    asio::co_spawn(loop_.context.get_executor(), Serve(connection),
                   [this](const std::exception_ptr& error) {
                     Require(!error, "a session throws nothing");
                     --running_;
                   });
  }

  /// The client that a step is about; null if there is none.
  Client* At(unsigned number) {
    return clients_.empty() ? nullptr : &clients_[number % clients_.size()];
  }

  static void Send(Client& client, const std::string& bytes) {
    const ssize_t count = send(client.socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    client.sent += bytes.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0);
  }

  static void Drain(Client& client) {
    std::array<char, 4096> piece{};
    for (ssize_t count = 1; count > 0;) {
      count = recv(client.socket.Get(), piece.data(), piece.size(), 0);
      client.received.append(piece.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
  }

  static void HangUp(Client& client) {
    client.whole = false;
    client.socket.Close();
  }

  static void Silence(Client& client) {
    if (const auto connection = client.connection.lock()) {
      client.whole = false;
      connection->BecomeIdle();
    }
  }

  void Stop() { loop_.SetState(Loop::State::STOPPING); }

  void RunLoop() {
    loop_.context.restart();
    while (loop_.context.poll() > 0) {
    }
  }

  void End() {
    RunLoop();
    Stop();
    for (std::size_t open = running_ + 1; open > running_;) {
      open = running_;
      RunLoop();
      std::for_each(clients_.begin(), clients_.end(), Drain);
      RunLoop();
    }
    loop_.SetState(Loop::State::ENDING);
    RunLoop();
    Require(running_ == 0, "every session ends");
    std::for_each(clients_.begin(), clients_.end(), Drain);
    CheckLog();
    for (const Client& client : clients_) {
      const std::string reply = stateless_ ? ReplyTo(model_, client.sent) : client.received;
      Require(reply.starts_with(client.received), "a client gets its own reply");
      Require(!client.whole || reply == client.received, "a reply arrives whole");
    }
  }

 private:
  standin::Task<> Serve(std::shared_ptr<Connection> client) {
    co_await client->Turn();
    co_await standin::PlayDaemon(client,
                                 {.log = log_, .script = script_, .maxPayload = MOST_PAYLOAD});
  }

  /// Each connection has one line that says what became of its request.
  void CheckLog() const {
    Require(!output_.HasKept(), "the log keeps nothing");
    std::string text(static_cast<std::size_t>(output_.Written()), '\0');
    Require(pread(logFile_.Get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
            "pread");
    std::map<std::string, std::vector<unsigned>> lines;
    for (std::size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
      const std::string line = text.substr(begin, text.find('\n', begin) - begin);
      unsigned connection = 0;
      std::array<char, 32> event{};
      std::size_t bytes = 0;
      const int read = std::sscanf(
          line.c_str(), R"({"time":"%*[^"]","connection":%u,"event":"%31[^"]","bytes":%zu)",
          &connection, event.data(), &bytes);
      Require(read >= 2 && connection > 0 && connection <= clients_.size(), "a line of a client");
      lines[event.data()].push_back(connection);
      const std::string& sent = clients_[connection - 1].sent;
      const bool complete =
          sent.size() >= standin::HEADER_SIZE &&
          sent.size() - standin::HEADER_SIZE >= standin::DecodeHeader(sent).length;
      if (event.data() == std::string("incomplete")) {
        Require(!complete && bytes == sent.size(), "all that was sent has been read");
      }
      Require(complete || event.data() != std::string("request"), "a request is complete");
    }
    std::vector<unsigned> ends;
    for (const char* const event : {"request", "incomplete", "refused", "closed-early"}) {
      ends.insert(ends.end(), lines[event].begin(), lines[event].end());
    }
    std::sort(ends.begin(), ends.end());
    Require(ends.size() == clients_.size() &&
                std::adjacent_find(ends.begin(), ends.end()) == ends.end(),
            "each connection is logged once");
  }

  bool stateless_;
  standin::Script script_;
  standin::Script model_;
  Descriptor logFile_;
  Loop loop_;
  standin::Event changed_{loop_.context};
  standin::Output output_;
  standin::Log log_;
  std::vector<Client> clients_;
  std::size_t running_ = 0;
};

/// Bytes of the input; zeros after its end.
struct Input {
  std::string_view bytes;
  unsigned Next() {
    const unsigned byte = bytes.empty() ? 0 : static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(bytes.empty() ? 0 : 1);
    return byte;
  }
};

void TakeStep(Conversations& conversations, Input& input) {
  const unsigned step = input.Next();
  if (step % 8 == 0) {
    conversations.Connect();
  } else if (step % 8 == 1) {
    conversations.RunLoop();
  } else if (Client* const client = conversations.At(step / 8); client != nullptr) {
    switch (step % 8) {
      case 2: {
        const unsigned code = input.Next();
        Conversations::Send(*client, standin::EncodeFrame(code, std::string(input.Next(), '0')));
        break;
      }
      case 3: {
        const std::size_t count = std::min<std::size_t>(input.Next() % 16, input.bytes.size());
        Conversations::Send(*client, std::string(input.bytes.substr(0, count)));
        input.bytes.remove_prefix(count);
        break;
      }
      case 4:
        shutdown(client->socket.Get(), SHUT_WR);
        break;
      case 5:
        Conversations::HangUp(*client);
        break;
      case 6:
        Conversations::Drain(*client);
        break;
      default:
        input.Next() % 8 == 0 ? conversations.Stop() : Conversations::Silence(*client);
        break;
    }
  }
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input{{reinterpret_cast<const char*>(data), size}};
  fuzz::Conversations conversations(input.Next() % fuzz::SCRIPTS.size());
  for (std::size_t step = 0; step < fuzz::MOST_STEPS && !input.bytes.empty(); ++step) {
    fuzz::TakeStep(conversations, input);
  }
  conversations.End();
  return 0;
}
