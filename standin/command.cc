// posix_spawnp(3) and waitpid(2).

#include "command.h"

#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "options.h"

namespace standin {
namespace {

/// Those that have ended and were not waited for, too.
std::vector<pid_t> Children() {
  std::ifstream file("/proc/thread-self/children");
  return {std::istream_iterator<pid_t>(file), {}};
}

}  // namespace

Command::Command(std::vector<std::string> words, int stream)
    : name_(words.at(0)), others_(Children()) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);

  sigset_t ignored;
  sigemptyset(&ignored);
  sigaddset(&ignored, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &ignored);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (stream >= 0) {
    posix_spawn_file_actions_adddup2(&actions, stream, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, stream, STDOUT_FILENO);
  }
  const int error =
      posix_spawnp(&process_, name_.c_str(), &actions, &attributes, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), name_);
  }
}

Command::~Command() {
  Signal(SIGKILL);
  if (!ended_) {
    waitpid(process_, nullptr, 0);
    ended_ = true;
  }
  // The children of one that is killed become orphans too.
  for (bool killed = true; killed;) {
    killed = false;
    for (const pid_t orphan : Orphans()) {
      killed = (kill(orphan, SIGKILL) == 0 && waitpid(orphan, nullptr, 0) == orphan) || killed;
    }
  }
}

std::vector<pid_t> Command::Orphans() const {
  std::vector<pid_t> orphans = Children();
  std::erase_if(orphans, [this](pid_t child) {
    return (child == process_ && !ended_) ||
           std::find(others_.begin(), others_.end(), child) != others_.end();
  });
  return orphans;
}

bool Command::HasEnded() {
  siginfo_t info{};
  // Its number stays taken until those that it has left behind are signalled.
  if (!ended_ &&
      waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
      info.si_pid == process_) {
    Signal(SIGTERM);
    ended_ = waitpid(process_, &status_, 0) == process_;
    for (const pid_t orphan : Orphans()) {
      kill(orphan, SIGTERM);
    }
  }
  return ended_;
}

bool Command::IsGone() {
  const std::vector<pid_t> orphans = Orphans();
  return std::count_if(orphans.begin(), orphans.end(),
                       [](pid_t orphan) { return waitpid(orphan, nullptr, WNOHANG) == 0; }) == 0;
}

void Command::Signal(int signal) const {
  if (!ended_) {
    kill(-process_, signal);
  }
}

std::string Command::Failure() const {
  if (!ended_) {
    return name_ + " was killed: it did not end on SIGTERM";
  }
  if (WIFSIGNALED(status_)) {
    return name_ + " was ended by signal " + std::to_string(WTERMSIG(status_));
  }
  const int value = WEXITSTATUS(status_);
  return value != 0 ? name_ + " ended with exit value " + std::to_string(value) : "";
}

int Command::ExitValue() const {
  if (!ended_) {
    return EXIT_SIGNAL + SIGKILL;
  }
  return WIFSIGNALED(status_) ? EXIT_SIGNAL + WTERMSIG(status_) : WEXITSTATUS(status_);
}

}  // namespace standin
