// A library for LD_PRELOAD that stands between the client and the C library. It
// writes down every call that the client makes of those that it knows, makes a
// chosen one fail or fall short, can hold the client before a chosen one, and can
// shorten the receive time-out. Settings are variables of the environment:
//
//   TREL_CALL_LOG=path             a line for each call, in order
//   TREL_FAULT=send:2:errno=32     the second send fails and leaves errno 32
//   TREL_FAULT=recv:1:short=3      the first recv is asked for 3 bytes at most
//   TREL_GATE=recv:1:path          before the first recv, waits at the FIFO path:
//                                  until a writer has opened and closed it
//   TREL_RECEIVE_TIMEOUT_MS=50     in place of the time-out that the client sets
//
// Only calls from the program's own code count: what the C library allocates or
// writes for itself passes by. No exceptions, no allocation, no stdio on the way.

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The C library's own names of its allocator, which nobody stands in front of.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void __libc_free(void* memory);

namespace {

constexpr int NO_LOG = -1;
/// Far from the descriptors that the client is given.
constexpr int LOWEST_LOG_DESCRIPTOR = 200;

enum Call {
  SIGNAL,
  CALLOC,
  MALLOC,
  STRDUP,
  SOCKET,
  SETSOCKOPT,
  CONNECT,
  SEND,
  RECV,
  READ,
  WRITE,
  FOPEN,
  CALL_COUNT
};
constexpr std::array<const char*, CALL_COUNT> NAMES = {"signal", "calloc",     "malloc",  "strdup",
                                                       "socket", "setsockopt", "connect", "send",
                                                       "recv",   "read",       "write",   "fopen"};

/// A setting of the form <call>:<occurrence>:<rest>.
struct Place {
  int call = CALL_COUNT;
  int occurrence = 0;
  const char* rest = "";
};

struct State {
  std::uintptr_t programBegin = 0;
  std::uintptr_t programEnd = 0;
  int log = NO_LOG;
  Place fault;
  Place gate;
  int receiveTimeoutMs = 0;  ///< 0: the client's own
  int socket = -1;           ///< the client's one descriptor of its own
  std::array<int, CALL_COUNT> seen{};
  std::array<const void*, 16> allocations{};  ///< in the order of their numbers
  std::size_t allocationCount = 0;
};
State state;

Place ReadPlace(const char* variable) {
  Place place;
  const char* text = std::getenv(variable);
  const char* colon = text != nullptr ? std::strchr(text, ':') : nullptr;
  if (colon == nullptr) {
    return place;
  }
  int call = 0;
  for (const char* name : NAMES) {
    if (text + std::strlen(name) == colon && std::strncmp(text, name, std::strlen(name)) == 0) {
      place.call = call;
    }
    ++call;
  }
  place.occurrence = std::atoi(colon + 1);
  const char* rest = std::strchr(colon + 1, ':');
  place.rest = rest != nullptr ? rest + 1 : "";
  return place;
}

int ReadProgramRange(dl_phdr_info* object, std::size_t /*size*/, void* /*data*/) {
  for (int index = 0; index < object->dlpi_phnum; ++index) {
    const ElfW(Phdr)& header = object->dlpi_phdr[index];
    if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0) {
      state.programBegin = object->dlpi_addr + header.p_vaddr;
      state.programEnd = state.programBegin + header.p_memsz;
    }
  }
  return 1;  // the program itself comes first; no other object matters
}

/// A shell or a checker that starts the client inherits the settings too, and is
/// left alone.
bool IsTheClient() {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
  const char* name = length > 0 ? std::strrchr(path.data(), '/') : nullptr;
  return name != nullptr && std::strcmp(name, "/trel-tool") == 0;
}

[[gnu::constructor]] void ReadSettings() {
  if (!IsTheClient()) {
    return;
  }
  state.fault = ReadPlace("TREL_FAULT");
  state.gate = ReadPlace("TREL_GATE");
  const char* timeout = std::getenv("TREL_RECEIVE_TIMEOUT_MS");
  state.receiveTimeoutMs = timeout != nullptr ? std::atoi(timeout) : 0;
  if (const char* path = std::getenv("TREL_CALL_LOG"); path != nullptr) {
    const int log = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    state.log = fcntl(log, F_DUPFD_CLOEXEC, LOWEST_LOG_DESCRIPTOR);
    syscall(SYS_close, log);
  }
  dl_iterate_phdr(ReadProgramRange, nullptr);
}

bool IsFromProgram(const void* returnAddress) {
  const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
  return address >= state.programBegin && address < state.programEnd;
}

template <typename Function>
Function* Next(Function* /*own*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// One line of the log, put together on the stack. Leaves errno alone.
class Line {
 public:
  [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int added =
        std::vsnprintf(text_.data() + length_, text_.size() - length_, format, arguments);
    va_end(arguments);
    length_ = std::min(length_ + static_cast<std::size_t>(added), text_.size() - 1);
  }
  /// Which numbers are free when the client starts is not its concern.
  void AddDescriptor(int descriptor) {
    if (descriptor == state.socket) {
      Add("socket");
    } else {
      Add("%d", descriptor);
    }
  }
  void Write() {
    const int error = errno;
    Add("\n");
    if (state.log != NO_LOG) {
      (void)syscall(SYS_write, state.log, text_.data(), length_);
    }
    errno = error;
  }

 private:
  std::array<char, 1024> text_{};
  std::size_t length_ = 0;
};

enum Effect { AS_ASKED, FAIL, SHORT };
struct Verdict {
  Effect effect = AS_ASKED;
  int number = 0;  ///< errno or most bytes
  bool held = false;
};

void WaitAtGate() {
  const int gate = open(state.gate.rest, O_RDONLY | O_CLOEXEC);
  char none = 0;
  while (syscall(SYS_read, gate, &none, 1) > 0) {
  }
  syscall(SYS_close, gate);
}

/// Counts a call of the program, holds it at the gate if it belongs there, and
/// tells what is to become of it.
Verdict Judge(Call call) {
  const int occurrence = ++state.seen[call];
  const bool held = state.gate.call == call && state.gate.occurrence == occurrence;
  if (held) {
    WaitAtGate();
  }
  if (state.fault.call != call || state.fault.occurrence != occurrence) {
    return {.held = held};
  }
  const char* equals = std::strchr(state.fault.rest, '=');
  const int number = equals != nullptr ? std::atoi(equals + 1) : 0;
  const bool isShort = std::strncmp(state.fault.rest, "short", 5) == 0;
  return {.effect = isShort ? SHORT : FAIL, .number = number, .held = held};
}

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
  const int result = verdict.effect == FAIL
                         ? Failure(verdict, -1)
                         : next(descriptor, level, option, &timeout, sizeof timeout);
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
