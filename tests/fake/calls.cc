// The calls that end here. The linker hands calls of these C library functions to __wrap_<name>
// here. While nothing is contained they go straight on to the library; some the client alone
// makes.

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/fake/poison.h"
#include "tests/fake/require.h"
#include "tests/fake/system.h"

// The names are the linker's: NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
[[noreturn]] void __real_abort();
[[noreturn]] void __real_exit(int value);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_malloc(std::size_t size);
char* __real_strdup(const char* text);
void __real_free(void* memory);
ssize_t __real_read(int fd, void* bytes, std::size_t count);
ssize_t __real_write(int fd, const void* bytes, std::size_t count);
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_close(int fd);
}

namespace fake {
namespace {

bool contained = false;
std::jmp_buf wayBack;
Outcome outcome;

struct Block {
  void* memory;
  std::size_t number;
};
std::vector<Block> blocks;  ///< that the client holds
std::size_t blockCount = 0;

/// One call of the client, from its arguments to its result.
class Call {
 public:
  Call(std::string_view name, const std::string& arguments)
      : text_(std::string(name) + "(" + arguments + ")"),
        faulty_(name == TheSystem().fault.call && --TheSystem().fault.occurrence == 0) {
    Require(contained, "a call that the client alone makes");
  }

  [[nodiscard]] bool Fails() const { return faulty_ && TheSystem().fault.effect == Fault::FAILS; }
  [[nodiscard]] bool IsShort() const { return faulty_ && TheSystem().fault.effect == Fault::SHORT; }
  [[nodiscard]] std::size_t AtMost(std::size_t count) const {
    return IsShort() ? std::min(count, static_cast<std::size_t>(TheSystem().fault.number)) : count;
  }

  /// Writes the call down. A call that succeeds leaves some number in errno, too, by which
  /// the client must not go.
  void End(const std::string& result) {
    TheSystem().calls.push_back(text_ + (result.empty() ? "" : " = " + result) +
                                (faulty_ ? " injected" : ""));
    errno = Fails() ? TheSystem().fault.number : ERANGE;
  }

  template <typename Number>
  Number Return(Number result) {
    End(std::to_string(result));
    return result;
  }

  void* ReturnBlock(void* memory) {
    if (memory == nullptr) {
      End("null");
      return nullptr;
    }
    blocks.push_back({memory, ++blockCount});
    End("#" + std::to_string(blockCount));
    return memory;
  }

 private:
  std::string text_;
  bool faulty_;
};

[[noreturn]] void ComeBack(Ending ending, int exitValue) {
  contained = false;
  outcome.ending = ending;
  outcome.exitValue = exitValue;
  std::longjmp(wayBack, 1);  // NOLINT(cert-err52-cpp): the client has no destructors
}

/// A block without a zero byte by luck, and with more of the kind after it: the C library's
/// own reading is not instrumented, so a text that it reads beyond its end must look wrong.
void* FilledBlock(std::size_t size) {
  constexpr std::size_t tail = 16;
  auto* block = static_cast<char*>(__real_malloc(size + tail));
  std::fill_n(block, size + tail, '?');
  Poison(block + size, tail);
  return block;
}

/// Leaves no zero byte on the stack where the client's records will be, so that none is
/// right by luck.
[[gnu::noinline]] void FillStack() {
  std::array<char, 32768> stack;
  stack.fill('?');
  asm volatile("" : : "r"(stack.data()) : "memory");  // the bytes count as read
}

std::string NameOf(int descriptor) {
  return descriptor == DAEMON_SOCKET ? "socket" : std::to_string(descriptor);
}

/// Receives for recv(2), if `all`, or read(2).
ssize_t Receive(Call call, void* buffer, std::size_t count, bool all) {
  if (call.Fails()) {
    return call.Return(ssize_t{-1});
  }
  Require(IsWritable(buffer, count), "room for what is asked for");
  const DaemonBytes::Received received = TheSystem().daemon.Take(call.AtMost(count), all);
  if (received.error != 0) {
    call.End("-1");
    errno = received.error;
    return -1;
  }
  std::memcpy(buffer, received.bytes.data(), received.bytes.size());
  return call.Return(static_cast<ssize_t>(received.bytes.size()));
}

/// Appends to `target` for send(2) and write(2).
ssize_t Append(Call call, std::string& target, const void* bytes, std::size_t count) {
  if (call.Fails()) {
    return call.Return(ssize_t{-1});
  }
  if (&target == &TheSystem().out && TheSystem().outputRefused) {
    call.End("-1");
    errno = EBADF;
    return -1;
  }
  target.append(static_cast<const char*>(bytes), call.AtMost(count));
  return call.Return(static_cast<ssize_t>(call.AtMost(count)));
}

std::string Describe(const sockaddr* address, socklen_t size) {
  sockaddr_un copy{};
  std::memcpy(&copy, address, std::min<std::size_t>(size, sizeof copy));
  const std::string path(copy.sun_path, strnlen(copy.sun_path, sizeof copy.sun_path));
  const bool zeros = std::all_of(copy.sun_path + path.size(), std::end(copy.sun_path),
                                 [](char byte) { return byte == '\0'; });
  return std::string(copy.sun_family == AF_UNIX ? "unix" : "?") + " \"" + path + "\" and " +
         (zeros ? "zeros" : "?") + ", " + std::to_string(size);
}

std::string Describe(int level, int name, const void* value, socklen_t size) {
  timeval timeout{};
  std::memcpy(&timeout, value, std::min<std::size_t>(size, sizeof timeout));
  return std::string(level == SOL_SOCKET && name == SO_RCVTIMEO ? "receive time-out" : "?") + ", " +
         std::to_string(timeout.tv_sec) + " s " + std::to_string(timeout.tv_usec) + " us, " +
         std::to_string(size);
}

}  // namespace
}  // namespace fake

extern "C" {

using fake::Call;

[[noreturn]] void __wrap_abort() {
  if (fake::contained) {
    fake::ComeBack(fake::Ending::ABORTED, 0);
  }
  __real_abort();
}

[[noreturn]] void __wrap_exit(int value) {
  if (fake::contained) {
    fake::ComeBack(fake::Ending::EXITED, value);
  }
  __real_exit(value);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (!fake::contained) {
    return __real_calloc(count, size);
  }
  Call call("calloc", std::to_string(count) + ", " + std::to_string(size));
  const bool refused = call.Fails() || count * size > fake::TheSystem().allocationLimit;
  return call.ReturnBlock(refused ? nullptr : __real_calloc(count, size));
}

void* __wrap_malloc(std::size_t size) {
  if (!fake::contained) {
    return __real_malloc(size);
  }
  Call call("malloc", std::to_string(size));
  const bool refused = call.Fails() || size > fake::TheSystem().allocationLimit;
  return call.ReturnBlock(refused ? nullptr : fake::FilledBlock(size));
}

char* __wrap_strdup(const char* text) {
  if (!fake::contained) {
    return __real_strdup(text);
  }
  Call call("strdup", std::string("\"") + text + "\"");
  return static_cast<char*>(call.ReturnBlock(call.Fails() ? nullptr : __real_strdup(text)));
}

void __wrap_free(void* memory) {
  if (fake::contained && memory != nullptr) {
    const auto block = std::find_if(fake::blocks.begin(), fake::blocks.end(),
                                    [&](const auto& held) { return held.memory == memory; });
    fake::Require(block != fake::blocks.end(), "a block is released that was not obtained");
    Call("free", "#" + std::to_string(block->number)).End("");
    fake::blocks.erase(block);
  }
  __real_free(memory);
}

__sighandler_t __wrap_signal(int number, __sighandler_t handler) {
  Call call("signal",
            std::string(sigabbrev_np(number)) + (handler == SIG_IGN ? ", ignored" : ", ?"));
  return call.Return(call.Fails() ? -1 : 0) == 0 ? SIG_DFL : SIG_ERR;
}

int __wrap_socket(int domain, int type, int protocol) {
  Call call("socket", std::string(domain == AF_UNIX ? "unix" : "?") + ", " +
                          (type == SOCK_STREAM ? "stream" : "?") + ", " + std::to_string(protocol));
  call.End(call.Fails() ? "-1" : "socket");
  return call.Fails() ? -1 : fake::DAEMON_SOCKET;
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  Call call("setsockopt", fake::NameOf(fd) + ", " + fake::Describe(level, name, value, size));
  return call.Return(call.Fails() ? -1 : call.IsShort() ? fake::TheSystem().fault.number : 0);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  Call call("connect", fake::NameOf(fd) + ", " + fake::Describe(address, size));
  return call.Return(call.Fails() ? -1 : 0);
}

ssize_t __wrap_send(int fd, const void* bytes, std::size_t count, int flags) {
  const std::string size = std::to_string(count);
  return fake::Append(Call("send", fake::NameOf(fd) + ", " + size + (flags == 0 ? ", 0" : ", ?")),
                      fake::TheSystem().sent, bytes, count);
}

ssize_t __wrap_recv(int fd, void* bytes, std::size_t count, int flags) {
  const std::string size = std::to_string(count);
  return fake::Receive(Call("recv", fake::NameOf(fd) + ", " + size +
                                        (flags == MSG_WAITALL ? ", wait for all" : ", ?")),
                       bytes, count, true);
}

ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
  if (!fake::contained) {
    return __real_read(fd, bytes, count);
  }
  return fake::Receive(Call("read", fake::NameOf(fd) + ", " + std::to_string(count)), bytes, count,
                       false);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
  if (!fake::contained) {
    return __real_write(fd, bytes, count);
  }
  return fake::Append(Call("write", std::to_string(fd) + ", " + std::to_string(count)),
                      fake::TheSystem().out, bytes, count);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (!fake::contained) {
    return __real_fopen(path, mode);
  }
  Call call("fopen", std::string("\"") + path + "\", \"" + mode + "\"");
  return call.Return(call.Fails() ? -1 : 0) == 0 ? fake::FileStream() : nullptr;
}

int __wrap_close(int fd) {
  if (!fake::contained) {
    return __real_close(fd);
  }
  return Call("close", fake::NameOf(fd)).Return(0);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace fake {

Outcome ContainCall(void (*call)(void*), void* piece) {
  outcome = {};
  blockCount = 0;
  FillStack();
  if (setjmp(wayBack) == 0) {  // NOLINT(cert-err52-cpp)
    contained = true;
    call(piece);
    contained = false;
  }
  outcome.blocksHeld = blocks.size();
  for (const Block& block : blocks) {
    __real_free(block.memory);
  }
  blocks.clear();
  return outcome;
}

}  // namespace fake
