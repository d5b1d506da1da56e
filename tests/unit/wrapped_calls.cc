// The wrappers. Each one writes itself down, then does what the script says.

#include "unit/wrapped_calls.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>
#include <utility>

namespace tests {
namespace {

struct State {
  std::map<std::string, std::deque<ScriptedResult>> script;
  std::vector<std::pair<std::string, std::string>> seen;
  std::thread::id thread = std::this_thread::get_id();
  bool busy = false;  ///< the bookkeeping itself allocates
};

State* state = nullptr;

bool IsWatched() {
  return state != nullptr && !state->busy && state->thread == std::this_thread::get_id();
}

template <typename... Arguments>
std::optional<ScriptedResult> Note(const std::string& name, const Arguments&... arguments) {
  if (!IsWatched()) {
    return {};
  }
  state->busy = true;
  std::ostringstream text;
  const char* comma = "";
  ((text << comma << arguments, comma = ", "), ...);
  state->seen.emplace_back(name, name + "(" + text.str() + ")");
  std::optional<ScriptedResult> result;
  std::deque<ScriptedResult>& queue = state->script[name];
  if (!queue.empty()) {
    result = queue.front();
    queue.pop_front();
  }
  state->busy = false;
  return result;
}

std::string Hex(const void* bytes, std::size_t size) {
  constexpr std::size_t MOST = 64;
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (const char byte : std::string_view(static_cast<const char*>(bytes), std::min(size, MOST))) {
    text << std::setw(2) << unsigned{static_cast<unsigned char>(byte)};
  }
  return text.str();
}

/// The scripted number, with errno and bytes delivered.
long Deliver(const ScriptedResult& scripted, void* buffer = nullptr, std::size_t size = 0) {
  if (buffer != nullptr) {
    std::memcpy(buffer, scripted.bytes.data(), std::min(size, scripted.bytes.size()));
  }
  errno = scripted.error;
  return scripted.result;
}

/// Whether a call that returns a pointer is to return null.
bool Fails(const std::optional<ScriptedResult>& scripted) {
  if (scripted && scripted->result == 0) {
    errno = scripted->error;
    return true;
  }
  return false;
}

}  // namespace

WrappedCalls::WrappedCalls() { state = new State; }

WrappedCalls::~WrappedCalls() { delete std::exchange(state, nullptr); }

WrappedCalls& WrappedCalls::Script(const std::string& name, const ScriptedResult& result) {
  state->busy = true;
  state->script[name].push_back(result);
  state->busy = false;
  return *this;
}

std::vector<std::string> WrappedCalls::Seen(const std::vector<std::string>& names) const {
  state->busy = true;
  std::vector<std::string> calls;
  for (const auto& [name, call] : state->seen) {
    if (names.empty() || std::find(names.begin(), names.end(), name) != names.end()) {
      calls.push_back(call);
    }
  }
  state->busy = false;
  return calls;
}

std::size_t WrappedCalls::Left() const {
  std::size_t left = 0;
  for (const auto& [name, queue] : state->script) {
    left += queue.size();
  }
  return left;
}

}  // namespace tests

// The names are the linker's: --wrap=f calls __wrap_f and offers f as __real_f.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __wrap_connect(int fd, const sockaddr* address, socklen_t size);
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode);
void __real_free(void* memory);
void __wrap_free(void* memory);
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
int __real_puts(const char* text);
int __wrap_puts(const char* text);
ssize_t __real_read(int fd, void* buffer, std::size_t size);
ssize_t __wrap_read(int fd, void* buffer, std::size_t size);
ssize_t __real_recv(int fd, void* buffer, std::size_t size, int flags);
ssize_t __wrap_recv(int fd, void* buffer, std::size_t size, int flags);
ssize_t __real_send(int fd, const void* buffer, std::size_t size, int flags);
ssize_t __wrap_send(int fd, const void* buffer, std::size_t size, int flags);
int __real_setsockopt(int fd, int level, int name, const void* value, socklen_t size);
int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size);
sighandler_t __real_signal(int number, sighandler_t handler);
sighandler_t __wrap_signal(int number, sighandler_t handler);
int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol);
char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text);
ssize_t __real_write(int fd, const void* buffer, std::size_t size);
ssize_t __wrap_write(int fd, const void* buffer, std::size_t size);

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return tests::Fails(tests::Note("calloc", count, size)) ? nullptr : __real_calloc(count, size);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  const auto* local = reinterpret_cast<const sockaddr_un*>(address);
  const auto scripted = tests::Note("connect", fd, local->sun_family,
                                    tests::Hex(local->sun_path, sizeof local->sun_path), size);
  return scripted ? static_cast<int>(tests::Deliver(*scripted)) : __real_connect(fd, address, size);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
  // GoogleTest opens what it has captured for reading; the client only writes.
  if (std::strcmp(mode, "r") == 0) {
    return __real_fopen(path, mode);
  }
  return tests::Fails(tests::Note("fopen", path, mode)) ? nullptr : __real_fopen(path, mode);
}

void __wrap_free(void* memory) {
  tests::Note("free", memory);
  __real_free(memory);
}

void* __wrap_malloc(std::size_t size) {
  return tests::Fails(tests::Note("malloc", size)) ? nullptr : __real_malloc(size);
}

int __wrap_puts(const char* text) {
  tests::Note("puts", text);
  return __real_puts(text);
}

ssize_t __wrap_read(int fd, void* buffer, std::size_t size) {
  const auto scripted = tests::Note("read", fd, size);
  return scripted ? tests::Deliver(*scripted, buffer, size) : __real_read(fd, buffer, size);
}

ssize_t __wrap_recv(int fd, void* buffer, std::size_t size, int flags) {
  const auto scripted = tests::Note("recv", fd, size, flags);
  return scripted ? tests::Deliver(*scripted, buffer, size) : __real_recv(fd, buffer, size, flags);
}

ssize_t __wrap_send(int fd, const void* buffer, std::size_t size, int flags) {
  const auto scripted = tests::Note("send", fd, tests::Hex(buffer, size), size, flags);
  return scripted ? tests::Deliver(*scripted) : __real_send(fd, buffer, size, flags);
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  const auto* time = static_cast<const timeval*>(value);
  const auto scripted =
      tests::Note("setsockopt", fd, level, name, time->tv_sec, time->tv_usec, size);
  return scripted ? static_cast<int>(tests::Deliver(*scripted))
                  : __real_setsockopt(fd, level, name, value, size);
}

sighandler_t __wrap_signal(int number, sighandler_t handler) {
  const auto scripted = tests::Note("signal", number, handler == SIG_IGN ? "ignore" : "other");
  if (scripted) {
    tests::Deliver(*scripted);
    return SIG_ERR;
  }
  return __real_signal(number, handler);
}

int __wrap_socket(int domain, int type, int protocol) {
  const auto scripted = tests::Note("socket", domain, type, protocol);
  return scripted ? static_cast<int>(tests::Deliver(*scripted))
                  : __real_socket(domain, type, protocol);
}

char* __wrap_strdup(const char* text) {
  return tests::Fails(tests::Note("strdup", text)) ? nullptr : __real_strdup(text);
}

ssize_t __wrap_write(int fd, const void* buffer, std::size_t size) {
  const auto scripted = tests::Note("write", fd, tests::Hex(buffer, size), size);
  return scripted ? tests::Deliver(*scripted) : __real_write(fd, buffer, size);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
