// Reads the command line and runs the stand-in.

#include <fcntl.h>
#include <unistd.h>

#include "options.h"
#include "run.h"

namespace {

/// Standard streams that are closed cannot be written to, whatever is opened later.
void KeepStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) == -1) {
      (void)open("/", O_PATH | O_CLOEXEC);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  KeepStandardStreams();
  standin::Options options;
  const std::optional<int> ended = standin::ReadOptions(argc, argv, options);
  return ended ? *ended : standin::RunStandin(options);
}
