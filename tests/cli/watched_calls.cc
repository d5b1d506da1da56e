// Settings are read when the library is loaded, for the client alone.

#include "cli/watched_calls.h"

#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace injector {

State state;

namespace {

/// Far from the descriptors that the client is given.
constexpr int LOWEST_LOG_DESCRIPTOR = 200;

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

void WaitAtGate() {
  const int gate = open(state.gate.rest, O_RDONLY | O_CLOEXEC);
  char none = 0;
  while (syscall(SYS_read, gate, &none, 1) > 0) {
  }
  syscall(SYS_close, gate);
}

}  // namespace

bool IsFromProgram(const void* returnAddress) {
  const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
  return address >= state.programBegin && address < state.programEnd;
}

void Line::Add(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int added =
      std::vsnprintf(text_.data() + length_, text_.size() - length_, format, arguments);
  va_end(arguments);
  length_ = std::min(length_ + static_cast<std::size_t>(added), text_.size() - 1);
}

void Line::AddDescriptor(int descriptor) {
  if (descriptor == state.socket) {
    Add("socket");
  } else {
    Add("%d", descriptor);
  }
}

void Line::Write() {
  const int error = errno;
  Add("\n");
  if (state.log != NO_LOG) {
    (void)syscall(SYS_write, state.log, text_.data(), length_);
  }
  errno = error;
}

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

}  // namespace injector
