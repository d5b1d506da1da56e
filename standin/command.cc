// posix_spawnp(3) and waitpid(2).

#include "command.h"

#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

/// Kills a child and waits for its end. False if that is not allowed.
bool Kill(pid_t child) {
  siginfo_t end;
  return kill(child, SIGKILL) == 0 && waitid(P_PID, static_cast<id_t>(child), &end, WEXITED) == 0;
}

}  // namespace

Command::Command(std::vector<std::string> words, std::optional<int> stream)
    : name_(words.at(0)), others_(Children()) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::vector<char*> pointers;
  std::transform(words.begin(), words.end(), std::back_inserter(pointers),
                 [](std::string& word) { return word.data(); });
  pointers.push_back(nullptr);

  posix_spawnattr_t attributes{};
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (stream) {
    posix_spawn_file_actions_adddup2(&actions, *stream, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, *stream, STDOUT_FILENO);
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
  Kill(process_);
  // The children of one that is killed become orphans.
  for (bool killed = true; killed;) {
    killed = false;
    for (const pid_t orphan : Orphans()) {
      killed = Kill(orphan) || killed;
    }
  }
}

std::vector<pid_t> Command::Orphans() const {
  std::vector<pid_t> orphans = Children();
  std::erase_if(orphans, [this](pid_t child) {
    return child == process_ || std::find(others_.begin(), others_.end(), child) != others_.end();
  });
  return orphans;
}

bool Command::HasEnded() {
  if (!Ended()) {
    // Its number stays taken, for it is that of its process group.
    waitid(P_PID, static_cast<id_t>(process_), &end_, WEXITED | WNOHANG | WNOWAIT);
    if (Ended()) {
      Signal(SIGTERM);
      for (const pid_t orphan : Orphans()) {
        kill(orphan, SIGTERM);
      }
    }
  }
  return Ended();
}

bool Command::IsGone() {
  for (const pid_t orphan : Orphans()) {
    waitpid(orphan, nullptr, WNOHANG);
  }
  // Those that have ended meanwhile have made orphans of their children.
  return Orphans().empty();
}

void Command::Signal(int signal) const { kill(-process_, signal); }

std::string Command::Failure() const {
  if (!Ended()) {
    return name_ + " was killed: it did not end on SIGTERM";
  }
  if (end_.si_code != CLD_EXITED) {
    return name_ + " was ended by signal " + std::to_string(end_.si_status);
  }
  return end_.si_status != 0 ? name_ + " ended with exit value " + std::to_string(end_.si_status)
                             : "";
}

int Command::ExitValue() const {
  if (!Ended()) {
    return EXIT_SIGNAL + SIGKILL;
  }
  return end_.si_code == CLD_EXITED ? end_.si_status : EXIT_SIGNAL + end_.si_status;
}

}  // namespace standin
