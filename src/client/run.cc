// The phases of one invocation, in their fixed order.

#include "client/run.h"

#include <malloc.h>

#include <csignal>
#include <cstdlib>

#include "client/argument_checks.h"
#include "client/client_options.h"
#include "client/command_table.h"
#include "client/options.h"
#include "client/reply.h"
#include "client/request.h"
#include "client/usage.h"
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
void TuneAllocator() {
  mallopt(M_TOP_PAD, LESS_THAN_A_LIST);
  mallopt(M_MMAP_THRESHOLD, LESS_THAN_A_LIST);
}

void AllocateLists(ClientOptions& options) {
  options.destinationList = static_cast<char*>(TREL_SafeCalloc(1, UUID_LIST_CAPACITY));
  options.exclusionList = static_cast<char*>(TREL_SafeCalloc(1, UUID_LIST_CAPACITY));
}

void ReleaseLists(ClientOptions& options) {
  std::free(options.destinationList);
  std::free(options.exclusionList);
}

/// Reads the options, chooses the command and checks its arguments. Sets
/// `*commandOut` unless it returns an error.
UsageError ReadCommandLine(int argc, char** argv, ClientOptions& options,
                           const CommandSpec** commandOut) {
  const ParseResult parsed = ParseOptions(argc, argv, options);
  if (parsed.helpAsked) {
    PrintUsage(argv[0]);
    std::exit(EXIT_SUCCESS);
  }
  if (IsError(parsed.error)) {
    return parsed.error;
  }
  const UsageError error = SelectCommand(argc, argv, parsed.wordIndex, commandOut);
  if (IsError(error)) {
    return error;
  }
  return CheckCommandArguments(**commandOut, argc, argv, parsed.wordIndex, options);
}

/// Connects, sends the request and handles the reply.
ReturnStatus Exchange(const CommandSpec& command, int argc, char** argv, ClientOptions& options) {
  int socket = -1;
  const ReturnStatus connected =
      OpenDaemonConnection(options.socketPath, command.receiveTimeoutSeconds, &socket);
  if (connected != STATUS_OK) {
    return connected;
  }
  const ReturnStatus sent = BuildAndSendRequest(socket, command.code, options, argc, argv);
  return HandleReply(socket, command, options, sent);
}

ReturnStatus RunWithLists(int argc, char** argv, ClientOptions& options) {
  if (argc < 2) {
    PrintUsage(argv[0]);
    return STATUS_FAILURE;
  }
  const CommandSpec* command = nullptr;
  const UsageError error = ReadCommandLine(argc, argv, options, &command);
  if (IsError(error)) {
    ReportUsageError(error);
    PrintUsage(argv[0]);
    return STATUS_FAILURE;
  }
  return Exchange(*command, argc, argv, options);
}

}  // namespace

ReturnStatus RunClient(int argc, char** argv) {
  IgnoreBrokenPipes();
  TuneAllocator();
  ClientOptions options;
  options.upgradeWhatIf.uuidList[0] = '\0';
  AllocateLists(options);
  const ReturnStatus status = RunWithLists(argc, argv, options);
  ReleaseLists(options);
  return status;
}

}  // namespace trel
