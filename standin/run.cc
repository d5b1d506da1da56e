// Script, log, socket, signals, then the server, and what to tell at its end.

#include "run.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <system_error>

#include "command.h"
#include "forward/relay.h"
#include "script/script_reader.h"
#include "server/socket_place.h"

namespace standin {
namespace {

void Tell(const std::string& text) { std::cerr << "trel-standin: " << text << std::flush; }

/// SIGINT, SIGTERM and SIGCHLD as something to read, for all threads.
Descriptor TakeSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  Descriptor descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (descriptor.Get() < 0) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  return descriptor;
}

/// Each client takes one descriptor, two when relayed.
void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

/// What has ended the program's wait.
struct Events {
  bool interrupted = false;  ///< SIGINT or SIGTERM
  bool commandEnded = false;
};

void ReadSignals(int signals, Command* command, Events& events) {
  signalfd_siginfo info{};
  while (read(signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    events.interrupted = events.interrupted || info.ssi_signo != SIGCHLD;
    events.commandEnded = events.commandEnded || (command != nullptr && command->HasEnded());
  }
}

/// A command that outlives the server, as after --count, is given its time.
void AwaitCommand(int signals, Command& command, Events& events) {
  while (!events.interrupted && !events.commandEnded) {
    pollfd wait{signals, POLLIN, 0};
    (void)poll(&wait, 1, -1);
    ReadSignals(signals, &command, events);
  }
}

void SayReady(const std::string& path) {
  std::cout << "ready on " << path << std::endl;
  if (!std::cout) {
    throw std::runtime_error("standard output cannot be written");
  }
}

int Verdict(const AnswerSource& source, const Log& log, const Command* command) {
  if (log.HasFailed()) {
    Tell("the log cannot be written\n");
    return EXIT_RUN_FAILED;
  }
  const std::string failure = source.Failure();
  if (!failure.empty()) {
    Tell(failure);
    return EXIT_NOT_FOLLOWED;
  }
  if (!source.Summary().empty()) {
    Tell(source.Summary() + "\n");
  }
  if (command != nullptr && !command->Failure().empty()) {
    Tell(command->Failure() + "\n");
    return EXIT_COMMAND_FAILED;
  }
  return EXIT_OK;
}

int Serve(const Options& options, AnswerSource& source) {
  const Descriptor signals = TakeSignals();
  RaiseDescriptorLimit();
  Log log(options.logPath, options.hex);
  const auto listener = TakeSocketPlace(options.socketPath, options.mode);
  SayReady(options.socketPath);

  std::unique_ptr<Handler> handler;
  if (options.forwardPath.empty()) {
    handler = std::make_unique<Sessions>(log, source, options.session);
  } else {
    handler = std::make_unique<Relay>(log, options.forwardPath, options.session.maxPayload);
  }
  std::unique_ptr<Command> command;
  if (!options.command.empty()) {
    command = std::make_unique<Command>(options.command);
  }
  Events events;
  Server(*listener, *handler, log, options.server).Run(signals.Get(), [&] {
    ReadSignals(signals.Get(), command.get(), events);
    return events.interrupted || events.commandEnded;
  });
  if (command) {
    AwaitCommand(signals.Get(), *command, events);
  }
  return Verdict(source, log, command.get());
}

std::unique_ptr<AnswerSource> MakeSource(const Options& options) {
  return options.scriptPath.empty() ? std::make_unique<AnswerSource>()
                                    : ReadScript(options.scriptPath);
}

}  // namespace

int RunStandin(const Options& options) {
  try {
    const std::unique_ptr<AnswerSource> source = MakeSource(options);
    return options.checkOnly ? EXIT_OK : Serve(options, *source);
  } catch (const ScriptError& error) {
    Tell(std::string(error.what()) + "\n");
    return EXIT_USAGE;
  } catch (const std::exception& error) {
    Tell(std::string(error.what()) + "\n");
    return EXIT_RUN_FAILED;
  }
}

}  // namespace standin
