// fork(2) and exec(2) with standard output and standard error in pipes.

#include "support/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
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

[[noreturn]] void BecomeProgram(const ProcessSetup& setup, const Pipe& out, const Pipe& err) {
  for (const std::string& variable : setup.environment) {
    putenv(const_cast<char*>(variable.c_str()));
  }
  std::vector<std::string> texts = setup.arguments;
  const std::vector<char*> arguments = Pointers(texts);
  const std::string& program = setup.program.empty() ? setup.arguments.at(0) : setup.program;

  const Descriptor none(open("/dev/null", O_RDONLY | O_CLOEXEC));
  dup2(none.Get(), STDIN_FILENO);
  dup2(out.writing.Get(), STDOUT_FILENO);
  dup2(err.writing.Get(), STDERR_FILENO);
  if (setup.prepare) {
    setup.prepare();
  }
  execv(program.c_str(), arguments.data());
  _exit(127);
}

}  // namespace

ProcessResult RunProcess(const ProcessSetup& setup) {
  Pipe out = MakePipe();
  Pipe err = MakePipe();
  const pid_t process = fork();
  if (process < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (process == 0) {
    BecomeProgram(setup, out, err);
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
