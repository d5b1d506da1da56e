// The system's calls, with most of their errors as exceptions.

#include "core/unix_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace standin {
namespace {

int Checked(int result, const std::string& call) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
  return result;
}

/// Throws std::length_error for a path that leaves no room for its terminator.
sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::length_error("socket path of more than 107 bytes: " + path);
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

void RemoveStaleSocket(const std::string& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) {
    return;
  }
  if (!S_ISSOCK(found.st_mode)) {
    throw std::runtime_error(path + " exists and is not a socket");
  }
  // A socket of another type connects to nobody and leaves no trace.
  if (TryConnect(path, SOCK_DGRAM).IsOpen() || errno == EPROTOTYPE) {
    throw std::runtime_error("another process listens on " + path);
  }
  if (errno != ECONNREFUSED) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  unlink(path.c_str());
}

/// The bits that bind(2) leaves out of the mode of what it makes.
class UmaskGuard {
 public:
  explicit UmaskGuard(mode_t mask) : before_(umask(mask)) {}
  ~UmaskGuard() { umask(before_); }
  UmaskGuard(const UmaskGuard&) = delete;
  UmaskGuard& operator=(const UmaskGuard&) = delete;

 private:
  mode_t before_;
};

}  // namespace

Descriptor TryConnect(const std::string& path, int type) {
  const sockaddr_un address = UnixAddress(path);
  Descriptor connection(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (connection.IsOpen() &&
      connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    connection.Close();
    errno = error;
  }
  return connection;
}

UnixListener::UnixListener(std::string path)
    : path_(std::move(path)),
      socket_(Checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
  const sockaddr_un address = UnixAddress(path_);
  Checked(bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
          "bind " + path_);
  Checked(listen(socket_.Get(), SOMAXCONN), "listen");
  (void)lstat(path_.c_str(), &place_);  // what has gone already is nobody's to remove
}

UnixListener::~UnixListener() {
  struct stat found {};
  if (lstat(path_.c_str(), &found) == 0 && found.st_dev == place_.st_dev &&
      found.st_ino == place_.st_ino) {
    unlink(path_.c_str());
  }
}

std::unique_ptr<UnixListener> TakeSocketPath(const std::string& path, mode_t mode) {
  if (path.empty()) {
    throw std::runtime_error("the path of the socket is empty");
  }
  // Locked against other stand-ins, unless the folder cannot be read.
  const std::string folder = std::filesystem::path(path).parent_path();
  const Descriptor lock(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock.IsOpen() && flock(lock.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return nullptr;
  }
  RemoveStaleSocket(path);
  const UmaskGuard guard(~mode & 0777);
  return std::make_unique<UnixListener>(path);
}

}  // namespace standin
