// Whole command lines through the client: parsing, lookup, checks, payload and
// sending, against a model. An input is what /proc/<pid>/cmdline would show: words
// with a zero byte between them, the program's name first.
//
// A word that opens with byte 0x01 stands for a long one: its next two bytes are
// a number of list entries, the third a signed number of characters more, and the
// rest is repeated to that length.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "client/payload.h"
#include "tests/fake/poison.h"
#include "tests/fake/require.h"
#include "tests/fake/system.h"
#include "tests/fuzz/command_line_model.h"
#include "tests/fuzz/input_file.h"

namespace fuzz {
namespace {

using contract::ReplyMode;
using fake::Ending;
using fake::Poison;
using fake::PrintingIntoSystem;
using fake::Require;
using fake::ResetSystem;
using fake::RunOutcome;
using fake::System;
using fake::TheSystem;
using fake::Unpoison;

constexpr std::size_t ENTRY_SIZE = 37;
constexpr std::size_t MOST_ENTRIES = 2600;

/// Most characters that the long words of one input have together: three lists and
/// a path. More would make an input of 100 bytes a line of a megabyte.
constexpr std::size_t MOST_UNFOLDED = 3 * MOST_ENTRIES * ENTRY_SIZE + 8192;

/// The bytes of all words; kept so that an input allocates nothing for them.
std::string wordBytes;

/// The words of one input, each followed by bytes that nobody may read.
class Words {
 public:
  explicit Words(std::string_view input) {
    Unpoison(wordBytes.data(), wordBytes.size());
    wordBytes.clear();
    std::size_t unfoldable = MOST_UNFOLDED;
    std::vector<std::size_t> ends;
    for (;;) {
      const std::size_t end = input.find('\0');
      AppendWord(input.substr(0, end), unfoldable);
      ends.push_back(wordBytes.size());
      wordBytes.append(GAP + (GAP - wordBytes.size() % GAP), '?');
      if (end == std::string_view::npos) {
        break;
      }
      input.remove_prefix(end + 1);
    }
    std::size_t start = 0;
    for (const std::size_t end : ends) {
      words_.push_back(&wordBytes[start]);
      const std::size_t next = end + GAP + (GAP - end % GAP);
      Poison(&wordBytes[end], next - end);
      start = next;
    }
  }
  ~Words() { Unpoison(wordBytes.data(), wordBytes.size()); }
  Words(const Words&) = delete;
  Words& operator=(const Words&) = delete;

  [[nodiscard]] const std::vector<char*>& Pointers() const { return words_; }

 private:
  static constexpr std::size_t GAP = 16;

  /// Appends a word and its terminator.
  static void AppendWord(std::string_view word, std::size_t& unfoldable) {
    if (word.size() < 5 || word[0] != '\x01') {
      wordBytes.append(word).push_back('\0');
      return;
    }
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(word[place]); };
    const std::size_t entries = (byte(1) * 256U + byte(2)) % (MOST_ENTRIES + 1);
    const auto wanted =
        static_cast<std::int64_t>(entries * ENTRY_SIZE) + static_cast<signed char>(word[3]);
    const std::size_t length =
        std::min(unfoldable, static_cast<std::size_t>(std::max<std::int64_t>(wanted, 0)));
    unfoldable -= length;

    const std::size_t start = wordBytes.size();
    wordBytes.append(word.substr(4, length));
    while (wordBytes.size() < start + length) {
      const std::size_t held = wordBytes.size() - start;  // a whole number of patterns
      wordBytes.append(wordBytes, start, std::min(held, start + length - wordBytes.size()));
    }
    wordBytes.push_back('\0');
  }

  std::vector<char*> words_;
};

/// Whether `out` is the help text for a program of this name, by the checked-in file.
bool IsUsage(std::string_view out, std::string_view name) {
  static const std::string USAGE = ReadFile(TREL_USAGE_TEXT);
  static constexpr std::string_view MARK = "@NAME@";
  static const std::size_t PLACE = USAGE.find(MARK);
  const std::string_view head = std::string_view(USAGE).substr(0, PLACE);
  const std::string_view tail = std::string_view(USAGE).substr(PLACE + MARK.size());
  return out.size() == head.size() + name.size() + tail.size() && out.starts_with(head) &&
         out.substr(PLACE).starts_with(name) && out.ends_with(tail);
}

/// The large requests of a run, zero when it begins.
trel::LargeRequests& Requests() {
  static trel::LargeRequests requests{};
  return requests;
}

/// Clears them after a run that has used them: most do not, and it takes longer than
/// most runs.
void ClearRequests(const ParsedLine& line) {
  constexpr std::size_t large = 65536;
  if (line.Of("uuid-list").given ||
      (line.command != nullptr && line.command->payload->least > large)) {
    std::memset(&Requests(), 0, sizeof(trel::LargeRequests));
  }
}

/// What the client calls from the socket to the end, its memory's calls left out.
std::vector<std::string> CallsFromSocket() {
  std::vector<std::string> calls;
  for (const std::string& call : TheSystem().calls) {
    const std::string name = call.substr(0, call.find('('));
    if (name != "signal" && name != "strdup" && name != "calloc" && name != "free") {
      calls.push_back(call);
    }
  }
  return calls;
}

std::vector<std::string> ExpectedCalls(const ParsedLine& line, std::size_t payloadSize) {
  const Given& socketPath = line.Of("socket-path");
  const std::string_view path = socketPath.given ? socketPath.text : contract::Get().socketPath;
  std::vector<std::string> calls = {
      "socket(unix, stream, 0) = socket",
      "setsockopt(socket, receive time-out, " + std::to_string(line.command->timeoutSeconds) +
          " s 0 us, 16) = 0",
      "connect(socket, unix \"" + std::string(path.substr(0, 107)) + "\" and zeros, 110) = 0",
      "send(socket, 8, 0) = 8"};
  if (payloadSize != 0) {
    const std::string size = std::to_string(payloadSize);
    calls.push_back("send(socket, " + size + ", 0) = " + size);
  }
  // The daemon hangs up without a byte, and no file can be opened.
  const ReplyMode mode = line.Mode();
  const Given& file = line.Of("output-path");
  if (mode == ReplyMode::STREAM && file.given) {
    calls.push_back("fopen(\"" + std::string(file.text) + "\", \"w\") = -1 injected");
  } else if (mode == ReplyMode::STREAM) {
    calls.emplace_back("read(socket, 1023) = 0");
  } else if (mode != ReplyMode::NONE) {
    calls.emplace_back("recv(socket, 8, wait for all) = 0");
  }
  if (mode == ReplyMode::PRINT) {
    calls.emplace_back("write(1, 0) = 0");
  }
  return calls;
}

void CheckExchange(const ParsedLine& line, const RunOutcome& run) {
  const std::string payload = ExpectPayload(line);
  std::string header(3, '\0');
  header += static_cast<char>(line.command->code);
  for (int shift = 24; shift >= 0; shift -= 8) {
    header += static_cast<char>(payload.size() >> shift & 0xff);
  }
  const std::string_view sent = TheSystem().sent;
  Require(sent.substr(0, header.size()) == header, "header");
  Require(sent.substr(header.size()) == payload, "payload");
  Require(CallsFromSocket() == ExpectedCalls(line, payload.size()), "calls");
  const bool toFile = line.Mode() == ReplyMode::STREAM && line.Of("output-path").given;
  Require(run.status == (toFile ? 0x2bad000d : 0U), "status");
  Require(TheSystem().out == (line.Mode() == ReplyMode::PRINT ? "\n" : ""), "output");
}

void Check(const Words& words) {
  ResetSystem();
  static std::string err;
  ParsedLine line;
  {
    const PrintingIntoSystem printing;
    line = ParseLine(words.Pointers());
  }
  err.assign(TheSystem().err).append(line.diagnostic);
  ResetSystem();
  TheSystem().fault = {.call = "fopen", .number = EACCES};
  const RunOutcome run = fake::RunClient(words.Pointers(), Requests());

  const System& system = TheSystem();
  Require(system.err == err, "diagnostics");
  if (line.fate == Fate::EXCHANGED) {
    CheckExchange(line, run);
  } else {
    Require(CallsFromSocket().empty(), "a refused line makes no socket");
    Require(
        line.fate == Fate::ABORTED ? system.out.empty() : IsUsage(system.out, words.Pointers()[0]),
        "help text");
  }

  ClearRequests(line);

  // Only the copies of -j are left to the end of the process, unless that comes
  // in the middle of parsing: then both lists are, too.
  switch (line.fate) {
    case Fate::REFUSED:
      Require(run.status == 0x0bad0001, "status of a refusal");
      [[fallthrough]];
    case Fate::EXCHANGED:
      Require(run.ending == Ending::RETURNED, "the run returns");
      Require(run.blocksHeld == line.jsonCopies, "released on return");
      break;
    case Fate::HELP:
      Require(run.ending == Ending::EXITED && run.exitValue == 0, "help exits with 0");
      Require(run.blocksHeld == line.jsonCopies + 2, "held at exit");
      break;
    case Fate::ABORTED:
      Require(run.ending == Ending::ABORTED, "a list beyond its capacity aborts");
      Require(run.blocksHeld == line.jsonCopies + 2, "held at abort");
      break;
  }
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Check(fuzz::Words({reinterpret_cast<const char*>(data), size}));
  return 0;
}
