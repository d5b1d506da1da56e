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
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/payload.h"
#include "tests/fake/require.h"
#include "tests/fake/system.h"
#include "tests/fuzz/command_line_model.h"
#include "tests/fuzz/input_file.h"

namespace fuzz {
namespace {

using contract::ReplyMode;
using fake::Ending;
using fake::PrintingIntoSystem;
using fake::Require;
using fake::ResetSystem;
using fake::RunOutcome;
using fake::System;
using fake::TheSystem;

constexpr std::size_t ENTRY_SIZE = 37;
constexpr std::size_t MOST_ENTRIES = 2600;

/// Most characters that the long words of one input have together: three lists and
/// a path. More would make an input of 100 bytes a line of a megabyte.
constexpr std::size_t MOST_UNFOLDED = 3 * MOST_ENTRIES * ENTRY_SIZE + 8192;

/// The words of one input, each in a block of its own size, so that reading beyond is found.
class Words {
 public:
  explicit Words(std::string_view input) {
    std::size_t unfoldable = MOST_UNFOLDED;
    for (std::size_t end = 0; end != std::string_view::npos;) {
      end = input.find('\0');
      const std::string word = Unfolded(input.substr(0, end), unfoldable);
      blocks_.emplace_back(new char[word.size() + 1]);
      std::memcpy(blocks_.back().get(), word.c_str(), word.size() + 1);
      words_.push_back(blocks_.back().get());
      input.remove_prefix(end == std::string_view::npos ? 0 : end + 1);
    }
  }

  [[nodiscard]] const std::vector<char*>& Pointers() const { return words_; }

 private:
  static std::string Unfolded(std::string_view word, std::size_t& unfoldable) {
    if (word.size() < 5 || word[0] != '\x01') {
      return std::string(word);
    }
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(word[place]); };
    const std::size_t entries = (byte(1) * 256U + byte(2)) % (MOST_ENTRIES + 1);
    const auto wanted =
        static_cast<std::int64_t>(entries * ENTRY_SIZE) + static_cast<signed char>(word[3]);
    const std::size_t length =
        std::min(unfoldable, static_cast<std::size_t>(std::max<std::int64_t>(wanted, 0)));
    unfoldable -= length;
    std::string text(word.substr(4, length));
    while (text.size() < length) {  // a whole number of patterns
      text.append(text, 0, length - text.size());
    }
    return text;
  }

  std::vector<std::unique_ptr<char[]>> blocks_;
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

/// Whether the client has made a call that begins so; the order of all calls is the unit tests'.
bool Called(const std::string& begin) {
  const std::vector<std::string>& calls = TheSystem().calls;
  return std::any_of(calls.begin(), calls.end(),
                     [&](const std::string& call) { return call.starts_with(begin); });
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
  const Given& socketPath = line.Of("socket-path");
  const std::string_view path = socketPath.given ? socketPath.text : contract::Get().socketPath;
  Require(Called("setsockopt(socket, receive time-out, " +
                 std::to_string(line.command->timeoutSeconds) + " s 0 us,"),
          "time-out");
  Require(Called("connect(socket, unix \"" + std::string(path.substr(0, 107)) + "\" and zeros"),
          "address");
  // The daemon hangs up without a byte, and no file can be opened.
  const Given& file = line.Of("output-path");
  const bool toFile = line.Mode() == ReplyMode::STREAM && file.given;
  Require(Called("fopen(") == toFile, "no file but the one of a stream");
  Require(!toFile || Called("fopen(\"" + std::string(file.text) + R"(", "w"))"), "output file");
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
    Require(!Called("socket("), "a refused line makes no socket");
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
