// Whole command lines through the client: parsing, lookup, checks, payload and
// sending, against a model. An input is what /proc/<pid>/cmdline would show: words
// with a zero byte between them, the program's name first.
//
// A word that opens with byte 0x01 stands for a long one: its next two bytes are
// a number of list entries, the third a signed number of characters more, and the
// rest is repeated to that length.

#include <getopt.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "client/payload.h"
#include "client/run.h"
#include "command_line_model.h"
#include "support/containment.h"
#include "support/daemon_calls.h"
#include "support/input_file.h"

namespace fuzz {
namespace {

constexpr std::size_t ENTRY_SIZE = 37;
constexpr std::size_t MOST_ENTRIES = 2600;

std::string Unfold(std::string_view word) {
  if (word.size() < 5 || word[0] != '\x01') {
    return std::string(word);
  }
  const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(word[place]); };
  const std::size_t entries = (byte(1) * 256U + byte(2)) % (MOST_ENTRIES + 1);
  const std::int64_t length =
      static_cast<std::int64_t>(entries * ENTRY_SIZE) + static_cast<signed char>(word[3]);
  const std::string_view pattern = word.substr(4);
  std::string text;
  while (static_cast<std::int64_t>(text.size()) < length) {
    text += pattern;
  }
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return text;
}

std::vector<std::string> Words(std::string_view input) {
  std::vector<std::string> words;
  for (;;) {
    const std::size_t end = input.find('\0');
    words.push_back(Unfold(input.substr(0, end)));
    if (end == std::string_view::npos) {
      return words;
    }
    input.remove_prefix(end + 1);
  }
}

/// The help text for a program of this name, from the checked-in file.
std::string UsageOf(const std::string& name) {
  static const std::string USAGE = ReadFile(TREL_USAGE_TEXT);
  static constexpr std::string_view PLACE = "@NAME@";
  std::string usage = USAGE;
  return usage.replace(usage.find(PLACE), PLACE.size(), name);
}

/// The large requests of a run, zero again for each. Only what the run before has used
/// is cleared: to clear all of it would take longer than most runs.
trel::LargeRequests& FreshRequests() {
  static trel::LargeRequests requests;
  if (requests.upgradeWhatIf.uuidList[0] != '\0') {
    requests.upgradeWhatIf = {};
  }
  if (requests.manualMove.destinationCount != 0 || requests.manualMove.exclusionCount != 0) {
    requests.manualMove = {};
  }
  return requests;
}

struct Run {
  Outcome outcome;
  std::uint32_t status = 0;
  std::string out;
  std::string err;
};

Run RunOnce(std::vector<std::string> words) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);

  Run run;
  StreamCapture out(stdout);
  StreamCapture err(stderr);
  optind = 0;  // the library starts anew
  StartRecording();
  run.outcome = Contain(
      [&] {
        run.status = trel::RunClient(static_cast<int>(words.size()), argv.data(), FreshRequests());
      },
      Files::REFUSED);
  StopRecording();
  run.out = out.Text();
  run.err = err.Text();
  return run;
}

void CheckExchange(const Reading& reading, const Run& run) {
  const DaemonCalls& calls = RecordedCalls();
  Require(calls.sockets == 1 && calls.connects == 1, "one socket and one connection");
  Require(calls.timeoutSeconds == reading.timeoutSeconds, "receive time-out");
  std::string address("\x01\x00", 2);
  address += reading.socketPath.substr(0, 107);
  address.resize(110, '\0');
  Require(calls.address == address, "address of the daemon");

  const std::string payload = ExpectedPayload(reading);
  std::string header(3, '\0');
  header += static_cast<char>(reading.code);
  for (int shift = 24; shift >= 0; shift -= 8) {
    header += static_cast<char>(payload.size() >> shift & 0xff);
  }
  Require(calls.sends.size() == (payload.empty() ? 1 : 2), "number of sends");
  Require(calls.sends[0] == header, "header");
  Require(payload.empty() || calls.sends[1] == payload, "payload");

  const bool reachesFile = reading.reply == 's' && reading.toFile;
  Require(calls.receives == (reading.reply == 'n' || reachesFile ? 0 : 1), "number of receives");
  Require(run.status == (reachesFile ? 0x2bad000d : 0U), "status");
  Require(run.out == (reading.reply == 'p' ? "\n" : ""), "output");
}

void Check(const std::vector<std::string>& words) {
  StreamCapture library(stderr);
  const Reading reading = ReadWords(words);
  const std::string err = library.Text() + reading.diagnostic;
  const Run run = RunOnce(words);

  Require(run.err == err, "diagnostics");
  if (reading.fate == Fate::EXCHANGED) {
    CheckExchange(reading, run);
  } else {
    Require(RecordedCalls().sockets == 0, "a refused line makes no socket");
    Require(run.out == (reading.fate == Fate::ABORTED ? "" : UsageOf(words[0])), "help text");
  }

  // Only the copies of -j are left to the end of the process, unless that comes
  // in the middle of parsing: then both lists are, too.
  const Outcome& outcome = run.outcome;
  switch (reading.fate) {
    case Fate::REFUSED:
      Require(run.status == 0x0bad0001, "status of a refusal");
      [[fallthrough]];
    case Fate::EXCHANGED:
      Require(outcome.ending == Ending::RETURNED, "the run returns");
      Require(outcome.blocksHeld == reading.jsonCopies, "released on return");
      break;
    case Fate::HELP:
      Require(outcome.ending == Ending::EXITED && outcome.exitValue == 0, "help exits with 0");
      Require(outcome.blocksHeld == reading.jsonCopies + 2, "held at exit");
      break;
    case Fate::ABORTED:
      Require(outcome.ending == Ending::ABORTED, "a list beyond its capacity aborts");
      Require(outcome.blocksHeld == reading.jsonCopies + 2, "held at abort");
      break;
  }
}

}  // namespace
}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Check(fuzz::Words({reinterpret_cast<const char*>(data), size}));
  return 0;
}
