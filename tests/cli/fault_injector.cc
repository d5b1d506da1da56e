// A library for LD_PRELOAD that stands between the client and the C library. It
// writes down every call that the client makes of those that it knows, makes a
// chosen one fail or fall short, can hold the client before a chosen one, and can
// shorten the receive time-out. Settings are variables of the environment:
//
//   TREL_CALL_LOG=path             a line for each call, in order
//   TREL_FAULT=send:2:errno=32     the second send fails and leaves errno 32
//   TREL_FAULT=recv:1:short=3      the first recv is asked for 3 bytes at most
//   TREL_FAULT=setsockopt:1:short=1  it sets nothing and returns 1
//   TREL_GATE=recv:1:path          before the first recv, waits at the FIFO path:
//                                  until a writer has opened and closed it
//   TREL_RECEIVE_TIMEOUT_MS=50     in place of the time-out that the client sets
//
// Only calls from the program's own code count: what the C library allocates or
// writes for itself passes by. No exceptions, no allocation, no stdio on the way.

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "cli/watched_calls.h"

// The C library's own names of its allocator, which nobody stands in front of.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

using namespace injector;

/// Ends a line with the marks of what was done to the call.
void WriteMarked(Line& line, const Verdict& verdict) {
  line.Add("%s%s", verdict.held ? " held" : "", verdict.effect != AS_ASKED ? " injected" : "");
  line.Write();
}

void Close(Line& line, const Verdict& verdict, long result) {
  line.Add(" = %ld", result);
  WriteMarked(line, verdict);
}

/// The same for calls that hand out memory: numbered from 1 in their order.
void* CloseAllocation(Line& line, const Verdict& verdict, void* memory) {
  if (memory != nullptr && state.allocationCount < state.allocations.size()) {
    state.allocations[state.allocationCount] = memory;
    ++state.allocationCount;
    line.Add(" = #%zu", state.allocationCount);
  } else {
    line.Add(" = null");
  }
  WriteMarked(line, verdict);
  return memory;
}

template <typename Result>
Result Failure(const Verdict& verdict, Result result) {
  errno = verdict.number;
  return result;
}

/// Moves `size` bytes with `next`, fewer if the verdict says so.
template <typename Function>
ssize_t Transfer(Call call, int descriptor, std::size_t size, const char* flags, Function next) {
  const Verdict verdict = Judge(call);
  Line line;
  line.Add("%s(", NAMES[call]);
  line.AddDescriptor(descriptor);
  line.Add(", %zu%s)", size, flags);
  const auto most = static_cast<std::size_t>(verdict.number);
  const ssize_t result = verdict.effect == FAIL    ? Failure<ssize_t>(verdict, -1)
                         : verdict.effect == SHORT ? next(std::min(size, most))
                                                   : next(size);
  Close(line, verdict, result);
  return result;
}

#define FROM_PROGRAM IsFromProgram(__builtin_return_address(0))

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  if (!FROM_PROGRAM) {
    return __libc_malloc(size);
  }
  const Verdict verdict = Judge(MALLOC);
  Line line;
  line.Add("malloc(%zu)", size);
  void* memory = verdict.effect == FAIL ? Failure(verdict, nullptr) : __libc_malloc(size);
  return CloseAllocation(line, verdict, memory);
}

void* calloc(std::size_t count, std::size_t size) {
  if (!FROM_PROGRAM) {
    return __libc_calloc(count, size);
  }
  const Verdict verdict = Judge(CALLOC);
  Line line;
  line.Add("calloc(%zu, %zu)", count, size);
  void* memory = verdict.effect == FAIL ? Failure(verdict, nullptr) : __libc_calloc(count, size);
  return CloseAllocation(line, verdict, memory);
}

void free(void* memory) {
  if (FROM_PROGRAM && memory != nullptr) {
    // The last one counts: an address may be handed out again.
    std::size_t number = state.allocationCount;
    while (number > 0 && state.allocations[number - 1] != memory) {
      --number;
    }
    Line line;
    line.Add("free(#%zu)", number);
    line.Write();
  }
  __libc_free(memory);
}

char* strdup(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  const bool known = FROM_PROGRAM;
  const Verdict verdict = known ? Judge(STRDUP) : Verdict{};
  char* copy = verdict.effect == FAIL ? Failure(verdict, static_cast<char*>(nullptr))
                                      : static_cast<char*>(__libc_malloc(size));
  if (copy != nullptr) {
    std::memcpy(copy, text, size);
  }
  if (known) {
    Line line;
    line.Add("strdup(\"%s\")", text);
    CloseAllocation(line, verdict, copy);
  }
  return copy;
}

__sighandler_t signal(int number, __sighandler_t handler) {
  static auto* next = Next(&signal, "signal");
  if (!FROM_PROGRAM) {
    return next(number, handler);
  }
  const Verdict verdict = Judge(SIGNAL);
  Line line;
  line.Add("signal(%s, %s)", sigabbrev_np(number), handler == SIG_IGN ? "ignored" : "?");
  const __sighandler_t result =
      verdict.effect == FAIL ? Failure(verdict, SIG_ERR) : next(number, handler);
  Close(line, verdict, result == SIG_ERR ? -1 : 0);
  return result;
}

int socket(int domain, int type, int protocol) {
  static auto* next = Next(&socket, "socket");
  if (!FROM_PROGRAM) {
    return next(domain, type, protocol);
  }
  const Verdict verdict = Judge(SOCKET);
  Line line;
  line.Add("socket(%s, %s, %d)", domain == AF_UNIX ? "unix" : "?",
           type == SOCK_STREAM ? "stream" : "?", protocol);
  const int result = verdict.effect == FAIL ? Failure(verdict, -1) : next(domain, type, protocol);
  state.socket = result;
  line.Add(" = %s", result >= 0 ? "socket" : "-1");
  WriteMarked(line, verdict);
  return result;
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) {
  static auto* next = Next(&setsockopt, "setsockopt");
  if (!FROM_PROGRAM) {
    return next(descriptor, level, option, value, size);
  }
  const Verdict verdict = Judge(SETSOCKOPT);
  timeval timeout{};
  std::memcpy(&timeout, value, std::min<std::size_t>(size, sizeof timeout));
  Line line;
  line.Add("setsockopt(");
  line.AddDescriptor(descriptor);
  line.Add(", %s, %ld s %ld us, %u)",
           level == SOL_SOCKET && option == SO_RCVTIMEO ? "receive time-out" : "?", timeout.tv_sec,
           timeout.tv_usec, size);
  if (state.receiveTimeoutMs != 0) {
    timeout = {.tv_sec = 0, .tv_usec = state.receiveTimeoutMs * 1000L};
  }
  int result = 0;
  if (verdict.effect == FAIL) {
    result = Failure(verdict, -1);
  } else if (verdict.effect == SHORT) {
    result = verdict.number;
    errno = 0;
  } else {
    result = next(descriptor, level, option, &timeout, sizeof timeout);
  }
  Close(line, verdict, result);
  return result;
}

int connect(int descriptor, const sockaddr* address, socklen_t size) {
  static auto* next = Next(&connect, "connect");
  if (!FROM_PROGRAM) {
    return next(descriptor, address, size);
  }
  const Verdict verdict = Judge(CONNECT);
  sockaddr_un copy{};
  std::memcpy(&copy, address, std::min<std::size_t>(size, sizeof copy));
  const std::size_t length = strnlen(copy.sun_path, sizeof copy.sun_path);
  const bool zeros = std::all_of(copy.sun_path + length, std::end(copy.sun_path),
                                 [](char byte) { return byte == '\0'; });
  Line line;
  line.Add("connect(");
  line.AddDescriptor(descriptor);
  line.Add(", %s \"%.*s\" and %s, %u)", copy.sun_family == AF_UNIX ? "unix" : "?",
           static_cast<int>(length), copy.sun_path, zeros ? "zeros" : "?", size);
  const int result =
      verdict.effect == FAIL ? Failure(verdict, -1) : next(descriptor, address, size);
  Close(line, verdict, result);
  return result;
}

ssize_t send(int descriptor, const void* bytes, std::size_t size, int flags) {
  static auto* next = Next(&send, "send");
  return FROM_PROGRAM
             ? Transfer(SEND, descriptor, size, flags == 0 ? ", 0" : ", ?",
                        [&](std::size_t asked) { return next(descriptor, bytes, asked, flags); })
             : next(descriptor, bytes, size, flags);
}

ssize_t recv(int descriptor, void* bytes, std::size_t size, int flags) {
  static auto* next = Next(&recv, "recv");
  return FROM_PROGRAM
             ? Transfer(RECV, descriptor, size, flags == MSG_WAITALL ? ", wait for all" : ", ?",
                        [&](std::size_t asked) { return next(descriptor, bytes, asked, flags); })
             : next(descriptor, bytes, size, flags);
}

ssize_t read(int descriptor, void* bytes, std::size_t size) {
  static auto* next = Next(&read, "read");
  return FROM_PROGRAM ? Transfer(READ, descriptor, size, "",
                                 [&](std::size_t asked) { return next(descriptor, bytes, asked); })
                      : next(descriptor, bytes, size);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  static auto* next = Next(&write, "write");
  return FROM_PROGRAM ? Transfer(WRITE, descriptor, size, "",
                                 [&](std::size_t asked) { return next(descriptor, bytes, asked); })
                      : next(descriptor, bytes, size);
}

std::FILE* fopen(const char* path, const char* mode) {
  static auto* next = Next(&fopen, "fopen");
  if (!FROM_PROGRAM) {
    return next(path, mode);
  }
  const Verdict verdict = Judge(FOPEN);
  Line line;
  line.Add("fopen(\"%s\", \"%s\")", path, mode);
  std::FILE* result = verdict.effect == FAIL ? Failure(verdict, static_cast<std::FILE*>(nullptr))
                                             : next(path, mode);
  Close(line, verdict, result != nullptr ? 0 : -1);
  return result;
}

int close(int descriptor) {
  static auto* next = Next(&close, "close");
  if (FROM_PROGRAM) {
    Line line;
    line.Add("close(");
    line.AddDescriptor(descriptor);
    line.Add(")");
    line.Write();
  }
  return next(descriptor);
}

}  // extern "C"
