// CLI11's description of the options.

#include "options.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <limits>

namespace standin {
namespace {

constexpr char FOOTER[] =
    "Exit values: 0 all went well; 1 the socket, the log or the system failed;\n"
    "2 the command line or the script is wrong; 3 the script was not followed;\n"
    "4 the handler failed; 124 --timeout; else that of COMMAND, 128 and the signal's number\n"
    "if one ended it. The first line on standard output is \"ready on PATH\", but with a COMMAND\n"
    "that has standard output to itself and PATH in its environment as TREL_STANDIN_SOCKET.";

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  CLI::App app{"Plays the daemon treld on a Unix socket and logs what it is asked.",
               "trel-standin"};
  app.footer(FOOTER);
  app.set_version_flag("--version", "trel-standin " TREL_VERSION);

  std::string mode = "0600";
  std::uint64_t idleSeconds = 60;
  double timeout = 0;
  std::uint64_t count = 0;
  bool once = false;

  auto* const socket =
      app.add_option("--socket", options.socketPath, "Path to listen on")->type_name("PATH");
  app.add_option("--mode", mode, "Permission bits of the socket, in octal")
      ->type_name("BITS")
      ->check(CLI::Validator(
          [](const std::string& text) {
            const bool octal = !text.empty() && text.size() <= 4 &&
                               text.find_first_not_of("01234567") == std::string::npos &&
                               std::stoul(text, nullptr, 8) <= 0777;
            return octal ? "" : "octal bits from 0 to 0777 are wanted";
          },
          ""))
      ->capture_default_str();
  auto* const script =
      app.add_option("--script", options.scriptPath, "Reply as this JSON file says")
          ->type_name("FILE");
  auto* const check = app.add_flag("--check", options.checkOnly, "Only read the script");
  check->needs(script);
  auto* const forward =
      app.add_option("--forward", options.forwardPath, "Forward to the daemon that listens there")
          ->type_name("PATH");
  std::uint64_t handlerSeconds = 10;
  app.add_option("--handler", options.handler,
                 "Start this by sh(1): it replies, a line of JSON for each request")
      ->type_name("COMMAND");
  app.add_option("--handler-timeout", handlerSeconds, "How long it may take for a reply")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  app.add_option("--log", options.logPath, "Append the log to this file, not standard output")
      ->type_name("FILE");
  app.add_flag("--hex", options.hex, "Log the raw bytes too, as hexadecimal digits");
  app.add_option("--record", options.recordPath, "Write what is forwarded as a script")
      ->type_name("FILE")
      ->needs(forward);
  app.add_option("--pcap", options.capturePath, "Write all bytes as a capture for Wireshark")
      ->type_name("FILE");
  auto* const onceFlag = app.add_flag("--once", once, "End after one client");
  app.add_option("--count", count, "End after N clients")
      ->type_name("N")
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1'000'000'000'000}))
      ->excludes(onceFlag);
  app.add_option("--max-payload", options.limits.maxPayload,
                 "Refuse requests with a longer payload; KiB, MiB may follow")
      ->type_name("BYTES")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{0xffffffff}))
      ->capture_default_str();
  app.add_option(
         "--max-connections", options.limits.maxConnections,
         "Serve so many clients at once; more wait their turn [as many as descriptors allow]")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000));
  app.add_option("--idle-timeout", idleSeconds,
                 "Hang up on clients silent for so long in a request; 0: never")
      ->type_name("SECONDS")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str();
  app.add_option("--timeout", timeout, "End after so long, with the exit value 124")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.001, 1000000.0));
  app.add_option("COMMAND", options.command, "Run this after --, serve it, and end when it ends");

  try {
    app.parse(argc, argv);
    if (!options.checkOnly && socket->count() == 0) {
      throw CLI::RequiredError("--socket");
    }
    if (std::isnan(timeout)) {
      throw CLI::ValidationError("--timeout", "must be a number");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
  }

  options.mode = static_cast<mode_t>(std::stoul(mode, nullptr, 8));
  options.handlerPatience = std::chrono::seconds(handlerSeconds);
  options.limits.idleTime = std::chrono::seconds(idleSeconds);
  options.timeout = std::chrono::milliseconds(std::llround(timeout * 1000));
  if (once || count > 0) {
    options.limits.count = once ? 1 : count;
  }
  return std::nullopt;
}

}  // namespace standin
