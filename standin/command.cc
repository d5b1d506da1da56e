// posix_spawnp(3) and waitpid(2).

#include "command.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>
#include <utility>

namespace standin {

Command::Command(std::vector<std::string> words) : name_(words.at(0)) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);

  sigset_t none;
  sigset_t broken;
  sigemptyset(&none);
  sigemptyset(&broken);
  sigaddset(&broken, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &broken);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int error =
      posix_spawnp(&process_, name_.c_str(), nullptr, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), name_);
  }
}

Command::~Command() {
  if (process_ > 0) {
    kill(process_, SIGTERM);
    waitpid(process_, &status_, 0);
  }
}

bool Command::HasEnded() {
  if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) {
    process_ = -1;
  }
  return process_ < 0;
}

std::string Command::Failure() const {
  if (process_ > 0) {
    return name_ + " was still running";
  }
  if (WIFSIGNALED(status_)) {
    return name_ + " was ended by signal " + std::to_string(WTERMSIG(status_));
  }
  const int value = WEXITSTATUS(status_);
  return value != 0 ? name_ + " ended with exit value " + std::to_string(value) : "";
}

}  // namespace standin
