// write(2) of whole lines, so that several threads and a reader get along.

#include "log/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/hex.h"

namespace standin {
namespace {

int OpenLog(const std::string& path) {
  const int fd = path.empty() ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)
                              : open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), "log " + path);
  }
  return fd;
}

/// Coordinated universal time with microseconds.
std::string Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  std::array<char, 32> seconds{};
  (void)std::strftime(seconds.data(), seconds.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 24> fraction{};
  (void)std::snprintf(fraction.data(), fraction.size(), ".%06ldZ", now.tv_nsec / 1000);
  return std::string(seconds.data()) + fraction.data();
}

bool WriteWhole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written > 0 ? written : 0));
  }
  return true;
}

}  // namespace

Log::Log(const std::string& path, bool withHex) : file_(OpenLog(path)), withHex_(withHex) {}

void Log::Write(std::uint64_t connection, const char* event, const Json& more) {
  Json line = {{"time", Now()}, {"connection", connection}, {"event", event}};
  line.update(more);
  // Texts of clients are any bytes; what is no UTF-8 is shown by a replacement.
  const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  const std::lock_guard lock(mutex_);
  if (!failed_ && !WriteWhole(file_.Get(), text)) {
    failed_ = true;
  }
}

void Log::WriteRequest(std::uint64_t connection, const Request& request, const Json& more) {
  Json line = {{"command", nullptr},
               {"code", request.header.word},
               {"length", request.header.length},
               {"fields", request.fields}};
  if (request.command != nullptr) {
    line["command"] = request.command->word;
  }
  if (!request.remarks.empty()) {
    line["remarks"] = request.remarks;
  }
  line.update(more);
  AddHex(line, request.Bytes());
  Write(connection, "request", line);
}

void Log::AddHex(Json& line, std::string_view bytes) const {
  if (withHex_) {
    line["hex"] = ToHex(bytes);
  }
}

}  // namespace standin
