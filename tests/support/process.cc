// fork(2) and exec(2) with standard output and standard error in pipes.

#include "support/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "core/descriptor.h"

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

/// Our environment with the setup's variables in it.
std::vector<std::string> EnvironmentOf(const ProcessSetup& setup) {
  std::vector<std::string> variables = setup.environment;
  for (char** ours = environ; *ours != nullptr; ++ours) {
    const std::string variable = *ours;
    const std::string name = variable.substr(0, variable.find('=') + 1);
    const bool replaced =
        std::any_of(setup.environment.begin(), setup.environment.end(),
                    [&](const std::string& added) { return added.starts_with(name); });
    if (!replaced) {
      variables.push_back(variable);
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

[[noreturn]] void BecomeProgram(const ProcessSetup& setup, const Image& image, const Pipe& out,
                                const Pipe& err) {
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
