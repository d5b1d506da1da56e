// The daemon's bytes and the streams of the system.

#include "tests/fake/system.h"

#include <getopt.h>
#include <stdio_ext.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "client/run.h"
#include "tests/fake/poison.h"
#include "tests/fake/require.h"

namespace fake {
namespace {

System fake;

/// A stream that prints into `text` and can be used again and again.
std::FILE* StreamInto(std::string& text) {
  cookie_io_functions_t functions{};
  functions.write = [](void* cookie, const char* bytes, std::size_t count) -> ssize_t {
    auto* target = static_cast<std::string*>(cookie);
    if (target == &fake.out && fake.outputRefused) {
      errno = EBADF;
      return 0;
    }
    // The library has written them, unseen by MemorySanitizer.
    Unpoison(const_cast<char*>(bytes), count);
    target->append(bytes, count);
    return static_cast<ssize_t>(count);
  };
  std::FILE* stream = fopencookie(&text, "w", functions);
  Require(stream != nullptr, "fopencookie");
  return stream;
}

void Empty(std::FILE* stream) {
  (void)std::fflush(stream);
  __fpurge(stream);
  std::clearerr(stream);
}

std::FILE* OutStream() {
  static std::FILE* stream = StreamInto(fake.out);
  return stream;
}
std::FILE* ErrStream() {
  static std::FILE* stream = StreamInto(fake.err);
  return stream;
}

std::FILE* realOut;
std::FILE* realErr;

}  // namespace

DaemonBytes::Received DaemonBytes::Take(std::size_t count, bool all) {
  const auto takeError = [this] {
    switch (ending) {
      case HangUp::PLAIN:
        break;
      case HangUp::SILENCE:
        return EAGAIN;
      case HangUp::RESET:
        ending = HangUp::PLAIN;
        return ECONNRESET;
    }
    return 0;
  };
  if (rest.empty()) {
    return {"", takeError()};
  }
  const std::size_t whole = packetSize != 0 ? std::min(packetSize, rest.size()) : rest.size();
  const std::string_view bytes = rest.substr(0, std::min(whole, count));
  // What a packet holds beyond `count` is lost.
  rest.remove_prefix(packetSize != 0 ? whole : bytes.size());
  if (all && packetSize == 0 && bytes.size() < count) {
    // The kernel forgets a reset that ends a receive which has bytes to show.
    (void)takeError();
  }
  return {bytes, 0};
}

System& TheSystem() { return fake; }

std::FILE* FileStream() {
  static std::FILE* stream = StreamInto(fake.file);
  return stream;
}

void ResetSystem() {
  System fresh;
  const auto keepMemory = [](auto& now, auto& next) {
    now.clear();
    next.swap(now);
  };
  keepMemory(fake.calls, fresh.calls);
  keepMemory(fake.sent, fresh.sent);
  keepMemory(fake.out, fresh.out);
  keepMemory(fake.err, fresh.err);
  keepMemory(fake.file, fresh.file);
  fake = std::move(fresh);
}

PrintingIntoSystem::PrintingIntoSystem() {
  realOut = std::exchange(stdout, OutStream());
  realErr = std::exchange(stderr, ErrStream());
}

PrintingIntoSystem::~PrintingIntoSystem() {
  Empty(stdout);
  Empty(stderr);
  Empty(FileStream());
  stdout = realOut;
  stderr = realErr;
}

RunOutcome RunClient(const std::vector<char*>& words, trel::LargeRequests& requests) {
  // Of just this size, so that reading beyond the terminator is found.
  const std::unique_ptr<char*[]> argv(new char*[words.size() + 1]);
  std::copy(words.begin(), words.end(), argv.get());
  argv[words.size()] = nullptr;
  const PrintingIntoSystem printing;
  optind = 0;  // the library starts anew
  RunOutcome run;
  static_cast<Outcome&>(run) = Contain(
      [&] { run.status = trel::RunClient(static_cast<int>(words.size()), argv.get(), requests); });
  return run;
}

}  // namespace fake
