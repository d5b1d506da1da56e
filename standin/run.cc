// Script, socket, log, command, then the server, and what to report at its end.

#include "run.h"

#include <poll.h>
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
#include "core/descriptor_limit.h"
#include "forward/proxy.h"
#include "forward/recorder.h"
#include "log/capture.h"
#include "script/script.h"
#include "server/flusher.h"
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
      logDeadline_ = deadline_ + LOG_GRACE;
      if (command_) {
        command_->Signal(SIGTERM);
      }
    }
  }

  [[nodiscard]] bool Interrupted() const { return deadline_ != Clock::time_point::max(); }

  Task<> Main() {
    co_await TakePath();
    co_await OpenFiles();
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
    co_await flusher_.Drain(standard_, logDeadline_);
    if (logFile_) {
      co_await flusher_.Drain(*logFile_, logDeadline_);
    }
    if (captureFile_) {
      co_await flusher_.Drain(*captureFile_, logDeadline_);
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

  /// Opens what is written to, and waits for the reader of a FIFO.
  Task<> OpenFile(const char* what, const std::string& path, Output::Opening opening,
                  std::optional<Output>& file) {
    while (!path.empty() && !file && !Interrupted()) {
      file = Output::Open(what, path, opening);
      if (!file) {
        co_await changed_.WaitFor(RETRY);
      }
    }
  }

  Task<> OpenFiles() {
    co_await OpenFile("log", options_.logPath, Output::Opening::APPEND, logFile_);
    co_await OpenFile("capture", options_.capturePath, Output::Opening::EMPTY, captureFile_);
    if (!options_.recordPath.empty()) {
      recorder_.emplace(options_.recordPath);
    }
    if (options_.logPath.empty() || logFile_) {
      Output& output = logFile_ ? *logFile_ : standard_;
      log_.emplace(output, options_.hex, flusher_.Keeps(output));
    }
    if (captureFile_) {
      capture_.emplace(*captureFile_, flusher_.Keeps(*captureFile_));
    }
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
    Proxy proxy(loop_, *log_, recorder_ ? &*recorder_ : nullptr, options_.forwardPath, limits);
    const Daemon daemon{.log = *log_,
                        .script = script_,
                        .handler = handler_ ? &*handler_ : nullptr,
                        .proxy = forwards ? &proxy : nullptr,
                        .maxPayload = limits.maxPayload};
    // Without anything else that replies the daemon sees each client from its first byte.
    const bool onlyForwards = forwards && options_.scriptPath.empty() && !handler_;
    const Server::Handler handler = [&, onlyForwards](std::shared_ptr<Connection> client) {
      return onlyForwards ? proxy.Serve(std::move(client), "", {})
                          : PlayDaemon(std::move(client), daemon);
    };
    Server server(loop_, *listener_, handler, *log_, capture_ ? &*capture_ : nullptr, limits,
                  changed_);
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
    if (captureFile_ && (captureFile_->HasKept() || captureFile_->LinesMissing() != 0)) {
      Report("the capture is not complete\n");
      value = EXIT_RUN_FAILED;
    }
    const std::string notRecorded = recorder_ ? recorder_->Write() : "";
    if (!notRecorded.empty()) {
      Report(notRecorded + "\n");
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
  Flusher flusher_{loop_, changed_};
  asio::signal_set signals_{loop_.context};
  Clock::time_point deadline_ = Clock::time_point::max();  ///< of the end, after a signal
  Clock::time_point logDeadline_ = deadline_;
  Timer timeout_{loop_.context.get_executor()};
  bool timedOut_ = false;
  /// Standard output belongs to the command if there is one.
  Output standard_ = Output::Standard(options_.command.empty() ? STDOUT_FILENO : STDERR_FILENO);
  std::optional<Output> logFile_;
  std::optional<Log> log_;
  std::unique_ptr<UnixListener> listener_;
  std::optional<Handler> handler_;
  std::optional<Command> command_;
  std::optional<Output> captureFile_;
  std::optional<Capture> capture_;
  std::optional<Recorder> recorder_;
  int exitValue_ = EXIT_OK;
};

}  // namespace

int RunStandin(const Options& options) {
  try {
    Script script = options.scriptPath.empty() ? Script() : ReadScript(options.scriptPath);
    if (!options.checkOnly) {
      return Run(options, script).Execute();
    }
    const std::string neverReached = script.NeverReached();
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
