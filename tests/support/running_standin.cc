// A process, its standard output in a pipe that the test reads.

#include "tests/support/running_standin.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/client.h"
#include "tests/support/stream.h"

namespace tests {

std::string StandinPath() {
  const char* path = std::getenv("TREL_STANDIN");
  return path != nullptr ? path : TREL_STANDIN_PATH;
}

ProcessResult RunStandin(std::vector<std::string> words) {
  words.emplace(words.begin(), "trel-standin");
  return RunProcess({.arguments = std::move(words), .program = StandinPath()});
}

std::vector<Json> StandinResult::Events(const std::string& event) const {
  std::vector<Json> found;
  std::copy_if(log.begin(), log.end(), std::back_inserter(found),
               [&](const Json& line) { return line.at("event") == event; });
  return found;
}

RunningStandin::RunningStandin(const std::vector<std::string>& words) { Start(words); }

RunningStandin::RunningStandin(const Json& script, const std::vector<std::string>& words) {
  std::ofstream(folder_ / "script.json") << script;
  std::vector<std::string> all = {"--script", folder_ / "script.json"};
  all.insert(all.end(), words.begin(), words.end());
  Start(all);
}

RunningStandin::~RunningStandin() {
  if (reader_.joinable()) {
    (void)Stop();
  }
}

void RunningStandin::Start(std::vector<std::string> words) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  output_ = standin::Descriptor(ends[0]);
  standin::Descriptor writing(ends[1]);

  const std::array<std::string, 3> head = {"trel-standin", "--socket", Socket()};
  words.insert(words.begin(), head.begin(), head.end());
  process_.emplace(ProcessSetup{.arguments = std::move(words),
                                .program = StandinPath(),
                                .prepare = [&writing] { dup2(writing.Get(), STDOUT_FILENO); }});
  writing.Close();
  reader_ = std::thread([this] { ReadOutput(); });
  firstLine_ = ReadLine();
}

void RunningStandin::ReadOutput() {
  std::array<char, 65536> piece{};
  for (;;) {
    const ssize_t count = read(output_.Get(), piece.data(), piece.size());
    const std::lock_guard lock(mutex_);
    if (count > 0) {
      unread_.append(piece.data(), static_cast<std::size_t>(count));
    }
    outputEnded_ = count <= 0;
    moreRead_.notify_all();
    if (outputEnded_) {
      return;
    }
  }
}

std::string RunningStandin::ReadLine() {
  std::unique_lock lock(mutex_);
  moreRead_.wait(lock, [&] { return outputEnded_ || unread_.find('\n') != std::string::npos; });
  const std::size_t end = unread_.find('\n');
  std::string line = unread_.substr(0, end);
  unread_.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

ProcessResult RunningStandin::Client(std::vector<std::string> words) const {
  const std::array<std::string, 3> head = {"trel-tool", "-s", Socket()};
  words.insert(words.begin(), head.begin(), head.end());
  return RunProcess({.arguments = std::move(words), .program = ClientPath()});
}

std::string RunningStandin::Exchange(const std::string& bytes) const {
  const standin::Descriptor connection = ConnectTo(Socket());
  WriteAll(connection.Get(), bytes);
  shutdown(connection.Get(), SHUT_WR);
  return ReadExactly(connection.Get(), std::numeric_limits<std::size_t>::max());
}

Json RunningStandin::NextLine() {
  const std::string line = ReadLine();
  if (line.empty()) {
    throw std::runtime_error("the stand-in ended without a further line");
  }
  return Json::parse(line);
}

StandinResult RunningStandin::Stop(int signal) {
  kill(Process(), signal);
  return Finish();
}

StandinResult RunningStandin::Finish() {
  StandinResult result;
  for (std::string line = ReadLine(); !line.empty(); line = ReadLine()) {
    result.log.push_back(Json::parse(line));
  }
  reader_.join();
  const ProcessResult ended = process_->Wait();
  result.exitValue = ended.exitValue;
  result.err = ended.err;
  return result;
}

}  // namespace tests
