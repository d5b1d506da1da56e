// Load for a stand-in daemon, and a trivial server to compare it with.
//
//   bench-load exchange SOCKET THREADS SECONDS   exchanges of fix-concats; prints how many
//                                                  a second
//   bench-load silent SOCKET CLIENTS             connects clients that send 2 bytes, prints
//                                                  the milliseconds of the next two exchanges
//                                                  and waits for the end of its standard input
//   bench-load dribble SOCKET CLIENTS            clients that send 16 MiB byte by byte, until
//                                                  a signal
//   bench-load serve SOCKET LOG                  replies to all with a thread for each
//                                                  client, and logs a line
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "core/frame.h"
#include "core/unix_socket.h"
#include "tests/support/stream.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t FIX_CONCATS = 13;
constexpr std::uint32_t FITNESS_CONFIG_SET = 4;

void Exchange(const std::string& path) {
  const standin::Descriptor connection = tests::ConnectTo(path);
  tests::WriteAll(connection.Get(), standin::EncodeFrame(FIX_CONCATS, ""));
  if (tests::ReadFrame(connection.Get()).size() != standin::HEADER_SIZE) {
    throw std::runtime_error("no reply");
  }
}

void ExchangeFor(const std::string& path, int threads, int seconds) {
  std::atomic<std::uint64_t> count = 0;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&] {
      while (Clock::now() < end) {
        Exchange(path);
        ++count;
      }
    });
  }
  for (std::thread& thread : running) {
    thread.join();
  }
  std::cout << count / static_cast<std::uint64_t>(seconds) << '\n';
}

void Silence(const std::string& path, int clients) {
  std::vector<standin::Descriptor> silent;
  for (int client = 0; client < clients; ++client) {
    silent.push_back(tests::ConnectTo(path));
    tests::WriteAll(silent.back().Get(), std::string(2, '\0'));
  }
  // The first exchange waits until all of them have been accepted.
  for (int exchange = 0; exchange < 2; ++exchange) {
    const Clock::time_point begin = Clock::now();
    Exchange(path);
    std::cout << std::chrono::duration<double, std::milli>(Clock::now() - begin).count()
              << std::endl;
  }
  (void)std::cin.get();
}

void Dribble(const std::string& path, int clients) {
  std::vector<std::thread> running;
  for (int client = 0; client < clients; ++client) {
    running.emplace_back([&] {
      for (;;) {
        const standin::Descriptor connection = tests::ConnectTo(path);
        tests::WriteAll(connection.Get(), standin::EncodeHeader({FITNESS_CONFIG_SET, 16U << 20U}));
        while (tests::WriteAll(connection.Get(), " ")) {
        }
      }
    });
  }
  for (std::thread& thread : running) {
    thread.join();
  }
}

[[noreturn]] void Serve(const std::string& path, const std::string& log) {
  const standin::UnixListener listener(path);
  const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  for (;;) {
    std::thread([file, connection = tests::Accept(listener)] {
      const std::string request = tests::ReadFrame(connection.Get());
      const std::string line = "{\"length\":" + std::to_string(request.size()) + "}\n";
      if (write(file, line.data(), line.size()) > 0) {
        tests::WriteAll(connection.Get(), standin::EncodeFrame(0, ""));
      }
    }).detach();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const rlimit all{1U << 14U, 1U << 14U};
  setrlimit(RLIMIT_NOFILE, &all);
  try {
    const std::string& mode = words.at(0);
    if (mode == "exchange") {
      ExchangeFor(words.at(1), std::stoi(words.at(2)), std::stoi(words.at(3)));
    } else if (mode == "silent") {
      Silence(words.at(1), std::stoi(words.at(2)));
    } else if (mode == "dribble") {
      Dribble(words.at(1), std::stoi(words.at(2)));
    } else {
      Serve(words.at(1), words.at(2));
    }
  } catch (const std::exception& error) {
    std::cerr << "bench-load: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
