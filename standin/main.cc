// Reads the command line and runs the stand-in.

#include <fcntl.h>
#include <unistd.h>

#include "options.h"
#include "run.h"

namespace {

/// Standard streams that are closed cannot be written to, whatever is opened later.
void KeepStandardStreams() {
  int fd = STDIN_FILENO;
  while (fd >= STDIN_FILENO && fd <= STDERR_FILENO) {
    fd = open("/", O_PATH | O_CLOEXEC);
  }
  close(fd);
}

}  // namespace

int main(int argc, char** argv) {
  KeepStandardStreams();
  standin::Options options;
  const std::optional<int> ended = standin::ReadOptions(argc, argv, options);
  return ended ? *ended : standin::RunStandin(options);
}
