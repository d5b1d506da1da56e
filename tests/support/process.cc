// fork(2) and exec(2) with standard output and standard error in files in memory.

#include "tests/support/process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <system_error>

#include "core/descriptor.h"
#include "tests/support/bytes.h"

namespace tests {
namespace {

using standin::Descriptor;

Descriptor MakeFile(const char* name) {
  Descriptor file(memfd_create(name, MFD_CLOEXEC));
  if (!file.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "memfd_create");
  }
  return file;
}

std::string ContentOf(const Descriptor& file) {
  struct stat status {};
  if (fstat(file.Get(), &status) != 0) {
    throw std::system_error(errno, std::generic_category(), "fstat");
  }
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  text.resize(static_cast<std::size_t>(pread(file.Get(), text.data(), text.size(), 0)));
  return text;
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

[[noreturn]] void BecomeProgram(const ProcessSetup& setup, const Image& image,
                                const Descriptor& out, const Descriptor& err) {
  ResetSettings();
  const Descriptor none(open("/dev/null", O_RDONLY | O_CLOEXEC));
  dup2(none.Get(), STDIN_FILENO);
  dup2(out.Get(), STDOUT_FILENO);
  dup2(err.Get(), STDERR_FILENO);
  if (setup.prepare) {
    setup.prepare();
  }
  execve(image.program.c_str(), image.arguments.data(), image.environment.data());
  _exit(127);
}

}  // namespace

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

RunningProcess::RunningProcess(const ProcessSetup& setup)
    : out_(MakeFile("out")), err_(MakeFile("err")) {
  const Image image(setup);
  number_ = fork();
  if (number_ < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (number_ == 0) {
    BecomeProgram(setup, image, out_, err_);
  }
}

ProcessResult RunningProcess::Wait() const {
  int status = 0;
  rusage usage{};
  if (wait4(number_, &status, 0, &usage) != number_) {
    throw std::system_error(errno, std::generic_category(), "wait4");
  }
  return {.out = ContentOf(out_),
          .err = ContentOf(err_),
          .exitValue = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0,
          .maxRssKib = usage.ru_maxrss};
}

ProcessResult RunProcess(const ProcessSetup& setup) {
  const RunningProcess process(setup);
  if (setup.whileRunning) {
    setup.whileRunning(process.Number());
  }
  return process.Wait();
}

}  // namespace tests
