// The phases of one invocation, in their fixed order.

#include "client/run.h"

#include <malloc.h>

#include <csignal>
#include <cstdlib>

#include "client/argument_checks.h"
#include "client/client_options.h"
#include "client/command_table.h"
#include "client/options.h"
#include "client/payload.h"
#include "client/reply.h"
#include "client/usage.h"
#include "client/usage_error.h"
#include "support/qslibs.h"
#include "support/safe_alloc.h"
#include "transport/connection.h"

namespace trel {
namespace {

/// Makes a send to a daemon that has hung up fail with EPIPE.
void IgnoreBrokenPipes() {
  if (std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
    Warning("Cannot register SIGPIPE handler");
  }
}

constexpr int LESS_THAN_A_LIST = 65536;  // bytes
static_assert(LESS_THAN_A_LIST < UUID_LIST_CAPACITY);

/// Has the C library take the lists straight from the system, which hands out
/// zeros. By default it takes 132 KiB at once and clears what it gives of them.
/// musl has no such options.
void TuneAllocator() {
#ifdef M_TOP_PAD
  mallopt(M_TOP_PAD, LESS_THAN_A_LIST);
  mallopt(M_MMAP_THRESHOLD, LESS_THAN_A_LIST);
#endif
}

void AllocateLists(ClientOptions& options) {
  options.destinationList = static_cast<char*>(TREL_SafeCalloc(1, UUID_LIST_CAPACITY));
  options.exclusionList = static_cast<char*>(TREL_SafeCalloc(1, UUID_LIST_CAPACITY));
}

void ReleaseLists(ClientOptions& options) {
  std::free(options.destinationList);
  std::free(options.exclusionList);
}

/// What a command line comes to.
struct CommandLine {
  bool helpAsked = false;
  /// Null if the command line was refused, which has been reported, or asked for help.
  const CommandSpec* command = nullptr;
};

/// Reads the options, chooses the command and checks its arguments.
CommandLine ReadCommandLine(int argc, char** argv, ClientOptions& options) {
  if (argc < 2) {
    return {};  // without a message
  }
  const ParseResult parsed = ParseOptions(argc, argv, options);
  if (parsed.helpAsked) {
    return {.helpAsked = true};
  }
  UsageError error = parsed.error;
  const CommandSpec* command = nullptr;
  if (!IsError(error)) {
    error = SelectCommand(argc, argv, parsed.wordIndex, &command);
  }
  if (!IsError(error)) {
    error = CheckCommandArguments(*command, argc, argv, parsed.wordIndex, options);
  }
  if (IsError(error)) {
    ReportUsageError(error);
    return {};
  }
  return {.command = command};
}

}  // namespace

ReturnStatus RunClient(int argc, char** argv, LargeRequests& largeRequests) {
  IgnoreBrokenPipes();
  TuneAllocator();
  ClientOptions options;
  options.largeRequests = &largeRequests;
  AllocateLists(options);

  const CommandLine line = ReadCommandLine(argc, argv, options);
  if (line.command == nullptr) {
    PrintUsage(argv[0]);
  }
  if (line.helpAsked) {
    std::exit(EXIT_SUCCESS);  // at once: nothing is released
  }

  ReturnStatus status = STATUS_FAILURE;
  int socket = -1;
  if (line.command != nullptr) {
    status = OpenDaemonConnection(options.socketPath, line.command->receiveTimeoutSeconds, &socket);
    if (status == STATUS_OK) {
      status = BuildAndSendRequest(socket, *line.command, options, argc, argv);
      status = HandleReply(socket, *line.command, options, status);
    }
  }

  ReleaseLists(options);
  return status;
}

}  // namespace trel
