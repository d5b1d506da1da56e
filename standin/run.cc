// Script, socket, log, command, then the server, and what to report at its end.

#include "run.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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
#include "core/unix_socket.h"
#include "forward/proxy.h"
#include "forward/recorder.h"
#include "log/capture.h"
#include "script/script.h"
#include "server/server.h"
#include "server/session.h"

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
constexpr Clock::time_point NEVER = Clock::time_point::max();

/// Writes to standard error; gives up on a reader who takes nothing for a while.
void Report(const std::string& text) {
  const std::string whole = "trel-standin: " + text + (text.ends_with('\n') ? "" : "\n");
  std::string_view left = whole;
  pollfd wait{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
  while (!left.empty() && poll(&wait, 1, static_cast<int>(LOG_GRACE.count())) > 0) {
    const ssize_t count =
        write(STDERR_FILENO, left.data(), std::min<std::size_t>(left.size(), PIPE_BUF));
    if (count == -1) {
      return;
    }
    left.remove_prefix(static_cast<std::size_t>(count));
  }
}

extern "C" void DoNothing(int /*signal*/) {}

/// Null if there is none.
template <typename Type>
Type* Address(std::optional<Type>& object) {
  return object ? &*object : nullptr;
}

class Run {
 public:
  Run(const Options& options, Script& script) : options_(options), script_(script) {}

  /// Throws std::exception.
  int Execute() {
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
    signals_.async_wait([this](const std::error_code& /*nobody cancels*/, int signal) {
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
      timeout_.async_wait([this](const std::error_code& /*nobody cancels*/) {
        timedOut_ = !Interrupted();
        Interrupt();
        changed_.Notify();
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

  [[nodiscard]] bool Interrupted() const { return deadline_ != NEVER; }

  /// Waits until `done` is true, no longer than to `end`, which may change meanwhile.
  template <typename Done>
  Task<> Await(Done done, const Clock::time_point& end) {
    while (!done() && Clock::now() < end) {
      co_await changed_.WaitUntil(end);
    }
  }

  Task<> Main() {
    co_await Retry([&] {
      listener_ = TakeSocketPath(options_.socketPath, options_.mode);
      return listener_ != nullptr;
    });
    co_await OpenFiles();
    if (Interrupted()) {
      if (timedOut_) {
        exitValue_ = ReportTimeout();
        co_return;
      }
      throw std::runtime_error("ended before it was ready: " + Awaited());
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
      handler_->EndInput();
      const Clock::time_point end = Clock::now() + HANDLER_GRACE;
      co_await Await([&] { return handler_->HasEnded(); }, end);
    }
    const std::array outputs = {&standard_, Address(logFile_), Address(captureFile_)};
    for (Output* const output : outputs) {
      if (output != nullptr) {
        co_await output->Drain(logDeadline_);
      }
    }
    exitValue_ = Conclude();
  }

  /// Tries until `attempt` is true.
  template <typename Attempt>
  Task<> Retry(Attempt attempt) {
    while (!Interrupted() && !attempt()) {
      co_await changed_.WaitFor(RETRY);
    }
  }

  /// Opens what is written to, and waits for the reader of a FIFO. `path`: empty: none.
  Task<> OpenFile(const char* what, const std::string& path, Opening opening,
                  std::optional<Output>& file) {
    co_await Retry([&] {
      Descriptor opened = path.empty() ? Descriptor() : OpenOutput(what, path, opening);
      if (opened.IsOpen()) {
        file.emplace(loop_, changed_, std::move(opened));
      }
      return path.empty() || file;
    });
  }

  Task<> OpenFiles() {
    co_await OpenFile("log", options_.logPath, Opening::APPEND, logFile_);
    co_await OpenFile("capture", options_.capturePath, Opening::EMPTY, captureFile_);
    if (!options_.recordPath.empty()) {
      recorder_.emplace(options_.recordPath);
    }
    if (options_.logPath.empty() || logFile_) {
      log_.emplace(LogOutput(), options_.hex);
    }
    if (captureFile_) {
      capture_.emplace(*captureFile_);
    }
  }

  /// Why it is not ready yet.
  [[nodiscard]] std::string Awaited() const {
    if (!listener_) {
      return "another process looks at " + options_.socketPath;
    }
    return "nobody reads the " +
           (log_ ? "capture " + options_.capturePath : "log " + options_.logPath);
  }

  void StartHandler() {
    if (!options_.handler.empty()) {
      handler_.emplace(loop_, *log_, options_.handler, options_.handlerPatience);
    }
  }

  /// False, with an exit value, if it could not be started.
  bool StartCommand() {
    const std::string path = std::filesystem::absolute(options_.socketPath);
    setenv("TREL_STANDIN_SOCKET", path.c_str(), 1);
    try {
      command_.emplace(options_.command);
    } catch (const std::system_error& error) {
      Report(error.what());
      exitValue_ =
          error.code() == std::errc::no_such_file_or_directory ? EXIT_NOT_FOUND : EXIT_CANNOT_START;
    }
    return command_.has_value();
  }

  [[nodiscard]] Output& LogOutput() { return logFile_ ? *logFile_ : standard_; }

  Task<> Serve() {
    Limits limits = options_.limits;
    const bool forwards = !options_.forwardPath.empty();
    // What has been started has the limit as it was.
    const std::size_t most = RaiseDescriptorLimit(forwards ? 2 : 1);
    if (limits.maxConnections == 0) {
      limits.maxConnections = most;
    }
    Proxy proxy(loop_, *log_, Address(recorder_), options_.forwardPath, limits);
    if (forwards) {
      // How long a client may be silent is the daemon's business.
      limits.idleTime = {};
    }
    const Daemon daemon{.log = *log_,
                        .script = script_,
                        .handler = Address(handler_),
                        .proxy = forwards ? &proxy : nullptr,
                        .maxPayload = limits.maxPayload};
    // Without anything else that replies the daemon sees each client from its first byte.
    const bool onlyForwards = forwards && options_.scriptPath.empty() && !handler_;
    const Server::Handler handler = [&, onlyForwards](std::shared_ptr<Connection> client) {
      return onlyForwards ? proxy.Serve(std::move(client), "", {})
                          : PlayDaemon(std::move(client), daemon);
    };
    Server server(loop_, *listener_, handler, *log_, Address(capture_), limits, changed_);
    asio::co_spawn(loop_.context.get_executor(), server.Run(), asio::detached);
    const auto serverEnded = [&] { return server.HasEnded(); };
    const auto toEnd = [&] {
      return Interrupted() || server.HasEnded() || LogOutput().Error() != 0 ||
             (command_ && command_->HasEnded());
    };
    co_await Await(toEnd, NEVER);

    const Clock::time_point end = std::min(deadline_, Clock::now() + GRACE);
    loop_.SetState(Loop::State::STOPPING);
    server.Stop();
    co_await Await(serverEnded, end);
    loop_.SetState(Loop::State::ENDING);
    co_await Await(serverEnded, NEVER);
    if (command_) {
      // If it outlives the server, as after --count, it is given its time.
      co_await Await([&] { return command_->HasEnded(); }, deadline_);
      // What it has left running has got a signal.
      const Clock::time_point killed = std::min(deadline_, Clock::now() + GRACE);
      co_await Await([&] { return command_->IsGone(); }, killed);
    }
  }

  /// Reports what went wrong. The exit value: its own failures come before the script's, and
  /// these before the command's.
  int Conclude() {
    const Output& log = LogOutput();
    const std::uint64_t missing = standard_.LinesMissing() + (logFile_ ? log.LinesMissing() : 0);
    int value = EXIT_OK;
    const auto fail = [&](const std::string& why, int exitValue) {
      Report(why);
      value = exitValue;
    };
    if (command_ && !command_->Failure().empty()) {
      fail(command_->Failure(), command_->ExitValue());
    }
    if (handler_ && !handler_->Failure().empty()) {
      fail("the handler failed: " + handler_->Failure(), EXIT_HANDLER_FAILED);
    }
    if (!script_.Failure().empty()) {
      fail(script_.Failure(), EXIT_NOT_FOLLOWED);
    } else if (!script_.Summary().empty()) {
      Report(script_.Summary());
    }
    if (log.Error() != 0) {
      fail(std::string("the log cannot be written: ") + std::strerror(log.Error()),
           EXIT_RUN_FAILED);
    } else if (missing != 0) {
      fail(std::to_string(missing) + " lines could not be written: nobody reads them",
           EXIT_RUN_FAILED);
    }
    if (captureFile_ && (captureFile_->HasKept() || captureFile_->LinesMissing() != 0)) {
      fail("the capture is not complete", EXIT_RUN_FAILED);
    }
    const std::string notRecorded = recorder_ ? recorder_->Write() : "";
    if (!notRecorded.empty()) {
      fail(notRecorded, EXIT_RUN_FAILED);
    }
    return timedOut_ ? ReportTimeout() : value;
  }

  static int ReportTimeout() {
    Report("the time of --timeout is over");
    return EXIT_TIMED_OUT;
  }

  const Options& options_;
  Script& script_;
  Loop loop_;
  Event changed_{loop_.context};  ///< of anything that Main waits for
  asio::signal_set signals_{loop_.context};
  Clock::time_point deadline_ = NEVER;  ///< of the end, after a signal
  Clock::time_point logDeadline_ = deadline_;
  Timer timeout_{loop_.context.get_executor()};
  bool timedOut_ = false;
  /// Standard output belongs to the command if there is one.
  Output standard_{loop_, changed_,
                   OpenStandard(options_.command.empty() ? STDOUT_FILENO : STDERR_FILENO)};
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
  // What is started has the default again, which SIG_IGN would take from it.
  std::signal(SIGPIPE, DoNothing);
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
    Report(error.what());
    return EXIT_USAGE;
  } catch (const std::exception& error) {
    Report(error.what());
    return EXIT_RUN_FAILED;
  }
}

}  // namespace standin
