#include "options.h"
#include "run.h"

int main(int argc, char** argv) {
  standin::Options options;
  const std::optional<int> ended = standin::ReadOptions(argc, argv, options);
  return ended ? *ended : standin::RunStandin(options);
}
