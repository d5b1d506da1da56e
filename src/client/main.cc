// The program. All else is a library that the tests link too.

#include "client/payload.h"
#include "client/run.h"

namespace {

/// Zero from the start, and takes no memory until a command uses it.
constinit trel::LargeRequests largeRequests{};

}  // namespace

int main(int argc, char** argv) {
  return static_cast<int>(trel::RunClient(argc, argv, largeRequests));
}
