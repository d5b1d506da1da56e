// Script, socket, log, command, then the server, and what to report at its end.

#include "run.h"

#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <asio/signal_set.hpp>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "command.h"
#include "forward/proxy.h"
#include "script/script_reader.h"
#include "server/server.h"
#include "server/session.h"
#include "server/socket_path.h"

namespace standin {
namespace {

using std::chrono::milliseconds;

/// After a signal: for replies that are due and for the command to end; then for the log.
constexpr milliseconds GRACE{500};
constexpr milliseconds LOG_GRACE{200};
/// After the end of its input, for the handler to end.
constexpr milliseconds HANDLER_GRACE{200};
/// Without a signal the log's reader may rest for so long.
constexpr milliseconds READER_REST{2000};
/// Between two tries of what cannot be waited for: a lock, a reader, room in a pipe.
constexpr milliseconds RETRY{5};

/// Writes to standard error; gives up on a reader who takes nothing for a while.
void Report(const std::string& text) {
  const std::string whole = "trel-standin: " + text;
  std::string_view left = whole;
  pollfd wait{STDERR_FILENO, POLLOUT, 0};
  while (!left.empty() && poll(&wait, 1, static_cast<int>(LOG_GRACE.count())) > 0) {
    const ssize_t count =
        write(STDERR_FILENO, left.data(), std::min<std::size_t>(left.size(), PIPE_BUF));
    if (count <= 0) {
      return;
    }
    left.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// Raises the limit of descriptors as far as it goes while it lives.
class DescriptorLimit {
 public:
  DescriptorLimit() {
    getrlimit(RLIMIT_NOFILE, &before_);
    Raise();
  }
  void Raise() const {
    const rlimit raised{before_.rlim_max, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &raised);
  }
  /// For a process that is started meanwhile.
  void Restore() const { setrlimit(RLIMIT_NOFILE, &before_); }

  /// How many clients there can be of so many descriptors each.
  [[nodiscard]] static std::size_t Clients(std::size_t descriptorsEach) {
    constexpr rlim_t others = 32;
    rlimit now{};
    getrlimit(RLIMIT_NOFILE, &now);
    const rlim_t most = std::min<rlim_t>(now.rlim_cur, 1U << 20U);
    return std::max<rlim_t>(most, others + 1) - others > descriptorsEach
               ? (most - others) / descriptorsEach
               : 1;
  }

 private:
  rlimit before_{};
};

class Run {
 public:
  Run(const Options& options, Script& script) : options_(options), script_(script) {}

  /// Throws std::exception.
  int Execute() {
    std::signal(SIGPIPE, SIG_IGN);
    TakeSignals();
    AwaitTimeout();
    std::exception_ptr failure;
    asio::co_spawn(loop_.context.get_executor(), Main(), [&](const std::exception_ptr& error) {
      failure = error;
      loop_.context.stop();
    });
    loop_.context.run();
    if (failure) {
      std::rethrow_exception(failure);
    }
    return exitValue_;
  }

 private:
  void TakeSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
      struct sigaction before {};
      sigaction(signal, nullptr, &before);
      // nohup(1) leaves SIGHUP ignored.
      if (signal != SIGHUP || before.sa_handler != SIG_IGN) {
        signals_.add(signal);
      }
    }
    AwaitSignal();
  }

  void AwaitSignal() {
    signals_.async_wait([this](const std::error_code& error, int signal) {
      if (error) {
        return;
      }
      if (signal != SIGCHLD) {
        Interrupt();
      }
      changed_.Notify();
      AwaitSignal();
    });
  }

  void AwaitTimeout() {
    if (options_.timeout.count() > 0) {
      timeout_.expires_after(options_.timeout);
      timeout_.async_wait([this](const std::error_code& error) {
        if (!error) {
          timedOut_ = !Interrupted();
          Interrupt();
          changed_.Notify();
        }
      });
    }
  }

  void Interrupt() {
    if (!Interrupted()) {
      deadline_ = Clock::now() + GRACE;
      if (command_) {
        command_->Signal(SIGTERM);
      }
    }
  }

  [[nodiscard]] bool Interrupted() const { return deadline_ != Clock::time_point::max(); }

  Task<> Main() {
    co_await TakePath();
    co_await OpenLog();
    if (Interrupted()) {
      if (timedOut_) {
        exitValue_ = ReportTimeout();
      } else if (!log_) {
        throw std::runtime_error("ended before it was ready: nobody reads the log " +
                                 options_.logPath);
      }
      co_return;
    }
    StartHandler();
    if (options_.command.empty()) {
      standard_.Write("ready on " + options_.socketPath + "\n");
      if (standard_.Error() != 0) {
        throw std::runtime_error("standard output cannot be written");
      }
    } else if (!StartCommand()) {
      co_return;
    }
    co_await Serve();
    if (handler_) {
      co_await EndHandler();
    }
    timeout_.cancel();
    co_await Drain(standard_);
    if (logFile_) {
      co_await Drain(*logFile_);
    }
    exitValue_ = Conclude();
  }

  Task<> TakePath() {
    while (!listener_ && !Interrupted()) {
      listener_ = TakeSocketPath(options_.socketPath, options_.mode);
      if (!listener_) {
        co_await changed_.WaitFor(RETRY);
      }
    }
  }

  Task<> OpenLog() {
    while (!options_.logPath.empty() && !logFile_ && !Interrupted()) {
      logFile_ = Output::Append(options_.logPath);
      if (!logFile_) {
        co_await changed_.WaitFor(RETRY);
      }
    }
    if (options_.logPath.empty() || logFile_) {
      Output& output = logFile_ ? *logFile_ : standard_;
      log_.emplace(output, options_.hex, [this, &output] {
        if (output.Error() != 0) {
          changed_.Notify();
        } else if (!flushing_) {
          asio::co_spawn(loop_.context.get_executor(), Flush(output), asio::detached);
        }
      });
    }
  }

  /// Offers what the log has kept until its reader has taken all.
  Task<> Flush(Output& output) {
    flushing_ = true;
    Event never(loop_.context);
    while (output.HasKept() && output.Error() == 0) {
      co_await never.WaitFor(RETRY);
      output.Flush();
    }
    flushing_ = false;
    changed_.Notify();
  }

  void StartHandler() {
    if (!options_.handler.empty()) {
      limit_.Restore();
      handler_.emplace(loop_, *log_, options_.handler, options_.handlerPatience);
      limit_.Raise();
    }
  }

  /// False, with an exit value, if it could not be started.
  bool StartCommand() {
    const std::string path = std::filesystem::absolute(options_.socketPath);
    setenv("TREL_STANDIN_SOCKET", path.c_str(), 1);
    limit_.Restore();
    try {
      command_.emplace(options_.command);
    } catch (const std::system_error& error) {
      Report(std::string(error.what()) + "\n");
      exitValue_ =
          error.code() == std::errc::no_such_file_or_directory ? EXIT_NOT_FOUND : EXIT_CANNOT_START;
    }
    limit_.Raise();
    return command_.has_value();
  }

  [[nodiscard]] bool LogFailed() const { return (logFile_ ? *logFile_ : standard_).Error() != 0; }

  Task<> Serve() {
    Limits limits = options_.limits;
    const bool forwards = !options_.forwardPath.empty();
    if (limits.maxConnections == 0) {
      limits.maxConnections = DescriptorLimit::Clients(forwards ? 2 : 1);
    }
    Proxy proxy(loop_, *log_, options_.forwardPath, limits.maxPayload);
    const Daemon daemon{.log = *log_,
                        .script = script_,
                        .handler = handler_ ? &*handler_ : nullptr,
                        .maxPayload = limits.maxPayload};
    const Server::Handler handler = [&, forwards](std::shared_ptr<Connection> client) {
      return forwards ? proxy.Serve(std::move(client)) : PlayDaemon(std::move(client), daemon);
    };
    Server server(loop_, *listener_, handler, *log_, limits, changed_);
    asio::co_spawn(loop_.context.get_executor(), server.Run(), asio::detached);
    while (!Interrupted() && !server.HasEnded() && !LogFailed() &&
           !(command_ && command_->HasEnded())) {
      co_await changed_.Wait();
    }

    const Clock::time_point end = std::min(deadline_, Clock::now() + GRACE);
    loop_.SetState(Loop::State::STOPPING);
    server.Stop();
    while (!server.HasEnded() && Clock::now() < end) {
      co_await changed_.WaitUntil(end);
    }
    loop_.SetState(Loop::State::ENDING);
    while (!server.HasEnded()) {
      co_await changed_.Wait();
    }
    // A command that outlives the server, as after --count, is given its time.
    while (command_ && !command_->HasEnded() && Clock::now() < deadline_) {
      co_await changed_.WaitUntil(deadline_);
    }
    // What it has left running has got a signal.
    const Clock::time_point killed = std::min(deadline_, Clock::now() + GRACE);
    while (command_ && command_->HasEnded() && !command_->IsGone() && Clock::now() < killed) {
      co_await changed_.WaitUntil(killed);
    }
  }

  Task<> EndHandler() {
    handler_->EndInput();
    const Clock::time_point end = Clock::now() + HANDLER_GRACE;
    while (!handler_->HasEnded() && Clock::now() < end) {
      co_await changed_.WaitUntil(end);
    }
  }

  /// Waits for the reader to take what `output` has kept, for as long as it takes some.
  Task<> Drain(Output& output) {
    std::uint64_t written = output.Written();
    Clock::time_point rest = Clock::now() + READER_REST;
    while (output.HasKept() && output.Error() == 0 && Clock::now() < rest &&
           (!Interrupted() || Clock::now() < deadline_ + LOG_GRACE)) {
      co_await changed_.WaitFor(RETRY);
      output.Flush();
      if (output.Written() != written) {
        written = output.Written();
        rest = Clock::now() + READER_REST;
      }
    }
  }

  /// Reports what went wrong. The exit value: its own failures come before the script's, and
  /// these before the command's.
  int Conclude() {
    const Output& log = logFile_ ? *logFile_ : standard_;
    const std::uint64_t missing = standard_.LinesMissing() + (logFile_ ? log.LinesMissing() : 0);
    int value = EXIT_OK;
    if (command_ && !command_->Failure().empty()) {
      Report(command_->Failure() + "\n");
      value = command_->ExitValue();
    }
    if (handler_ && !handler_->Failure().empty()) {
      Report("the handler failed: " + handler_->Failure() + "\n");
      value = EXIT_HANDLER_FAILED;
    }
    const std::string failure = script_.Failure();
    if (!failure.empty()) {
      Report(failure);
      value = EXIT_NOT_FOLLOWED;
    } else if (!script_.Summary().empty()) {
      Report(script_.Summary() + "\n");
    }
    if (log.Error() != 0) {
      Report(std::string("the log cannot be written: ") + std::strerror(log.Error()) + "\n");
      value = EXIT_RUN_FAILED;
    } else if (missing != 0) {
      Report(std::to_string(missing) + " lines could not be written: nobody reads them\n");
      value = EXIT_RUN_FAILED;
    }
    return timedOut_ ? ReportTimeout() : value;
  }

  int ReportTimeout() {
    Report("the time of --timeout is over\n");
    return EXIT_TIMED_OUT;
  }

  const Options& options_;
  Script& script_;
  DescriptorLimit limit_;
  Loop loop_;
  Event changed_{loop_.context};  ///< of anything that Main waits for
  asio::signal_set signals_{loop_.context};
  Clock::time_point deadline_ = Clock::time_point::max();  ///< of the end, after a signal
  Timer timeout_{loop_.context.get_executor()};
  bool timedOut_ = false;
  /// Standard output belongs to the command if there is one.
  Output standard_ = Output::Standard(options_.command.empty() ? STDOUT_FILENO : STDERR_FILENO);
  std::optional<Output> logFile_;
  std::optional<Log> log_;
  std::unique_ptr<UnixListener> listener_;
  std::optional<Handler> handler_;
  std::optional<Command> command_;
  bool flushing_ = false;
  int exitValue_ = EXIT_OK;
};

std::unique_ptr<Script> MakeScript(const Options& options) {
  return options.scriptPath.empty() ? std::make_unique<Script>() : ReadScript(options.scriptPath);
}

}  // namespace

int RunStandin(const Options& options) {
  try {
    const std::unique_ptr<Script> script = MakeScript(options);
    if (!options.checkOnly) {
      return Run(options, *script).Execute();
    }
    const std::string neverReached = script->NeverReached();
    if (neverReached.empty()) {
      return EXIT_OK;
    }
    Report(neverReached);
    return EXIT_USAGE;
  } catch (const ScriptError& error) {
    Report(std::string(error.what()) + "\n");
    return EXIT_USAGE;
  } catch (const std::exception& error) {
    Report(std::string(error.what()) + "\n");
    return EXIT_RUN_FAILED;
  }
}

}  // namespace standin
