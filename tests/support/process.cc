// fork(2) and exec(2) with standard output and standard error in pipes.

#include "tests/support/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "core/descriptor.h"
#include "tests/support/bytes.h"

namespace tests {
namespace {

using standin::Descriptor;

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

Pipe MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string ReadToEnd(int fd) {
  std::string text;
  std::array<char, 65536> piece{};
  for (;;) {
    const ssize_t count = read(fd, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return text;
    }
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

/// Whether a variable of our environment goes to every program. It begins with NAME=.
bool IsPassedOn(const std::string& variable) {
  static constexpr const char* BEGINNINGS[] = {"PATH=",  "HOME=", "TMPDIR=", "TREL_", "ASAN_",
                                               "UBSAN_", "LSAN_", "TSAN_",   "GCOV_", "LLVM_"};
  return std::any_of(std::begin(BEGINNINGS), std::end(BEGINNINGS),
                     [&](const char* beginning) { return variable.starts_with(beginning); });
}

/// The setup's variables, then ours: of two with one name the first counts.
std::vector<std::string> EnvironmentOf(const ProcessSetup& setup) {
  std::vector<std::string> variables = setup.environment;
  for (char** ours = environ; *ours != nullptr; ++ours) {
    if (IsPassedOn(*ours)) {
      variables.emplace_back(*ours);
    }
  }
  return variables;
}

/// What execve(2) takes. Put together before the fork: another thread may be allocating
/// then, and under a sanitizer the new process would wait for it for ever if it did so too.
struct Image {
  explicit Image(const ProcessSetup& setup)
      : program(setup.program.empty() ? setup.arguments.at(0) : setup.program),
        argumentTexts(setup.arguments),
        environmentTexts(EnvironmentOf(setup)),
        arguments(Pointers(argumentTexts)),
        environment(Pointers(environmentTexts)) {}

  std::string program;
  std::vector<std::string> argumentTexts;
  std::vector<std::string> environmentTexts;
  std::vector<char*> arguments;
  std::vector<char*> environment;
};

/// Undoes what the new process has inherited of its caller's settings.
void ResetSettings() {
  for (int number = 1; number <= SIGRTMAX; ++number) {
    signal(number, SIG_DFL);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  umask(022);
}

[[noreturn]] void BecomeProgram(const ProcessSetup& setup, const Image& image, const Pipe& out,
                                const Pipe& err) {
  ResetSettings();
  const Descriptor none(open("/dev/null", O_RDONLY | O_CLOEXEC));
  dup2(none.Get(), STDIN_FILENO);
  dup2(out.writing.Get(), STDOUT_FILENO);
  dup2(err.writing.Get(), STDERR_FILENO);
  if (setup.prepare) {
    setup.prepare();
  }
  execve(image.program.c_str(), image.arguments.data(), image.environment.data());
  _exit(127);
}

}  // namespace

void DumpNoCore() {
  constexpr rlimit NONE = {0, 0};
  setrlimit(RLIMIT_CORE, &NONE);
}

testing::AssertionResult Ended(const ProcessResult& run, const std::string& out,
                               const std::string& err, int exitValue) {
  if (run.exitValue != exitValue) {
    return testing::AssertionFailure() << "exit value " << run.exitValue << ", signal "
                                       << run.signal << "; expected " << exitValue;
  }
  if (testing::AssertionResult same = SameBytes(err, run.err); !same) {
    return same << "on standard error";
  }
  return SameBytes(out, run.out) << "on standard output";
}

ProcessResult RunProcess(const ProcessSetup& setup) {
  const Image image(setup);
  Pipe out = MakePipe();
  Pipe err = MakePipe();
  const pid_t process = fork();
  if (process < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (process == 0) {
    BecomeProgram(setup, image, out, err);
  }
  out.writing.Close();
  err.writing.Close();

  ProcessResult result;
  std::thread errReader([&] { result.err = ReadToEnd(err.reading.Get()); });
  std::thread outReader([&] { result.out = ReadToEnd(out.reading.Get()); });
  if (setup.whileRunning) {
    setup.whileRunning(process);
  }
  errReader.join();
  outReader.join();

  int status = 0;
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process) {
    throw std::system_error(errno, std::generic_category(), "wait4");
  }
  result.maxRssKib = usage.ru_maxrss;
  if (WIFEXITED(status)) {
    result.exitValue = WEXITSTATUS(status);
  } else {
    result.signal = WTERMSIG(status);
  }
  return result;
}

}  // namespace tests
