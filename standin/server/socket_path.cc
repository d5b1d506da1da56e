// Looks at what is at the path, and whether somebody listens there.

#include "server/socket_path.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "core/unix_address.h"

namespace standin {
namespace {

/// Asks with a socket of another type: that connects to nobody and leaves no trace.
bool SomebodyListens(const std::string& path) {
  const sockaddr_un address = UnixAddress(path);
  const Descriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (probe.Get() >= 0 &&
      connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return true;
  }
  if (errno == EPROTOTYPE || errno == ECONNREFUSED) {
    return errno == EPROTOTYPE;
  }
  throw std::system_error(errno, std::generic_category(), path);
}

void RemoveStaleSocket(const std::string& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) {
    return;
  }
  if (!S_ISSOCK(found.st_mode)) {
    throw std::runtime_error(path + " exists and is not a socket");
  }
  if (SomebodyListens(path)) {
    throw std::runtime_error("another process listens on " + path);
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

/// Locks the folder of `path` against other stand-ins for as long as the descriptor is open;
/// -1 if another one has it. A folder that cannot be read is not locked.
Descriptor LockFolder(const std::string& path, bool& locked) {
  const std::string folder = std::filesystem::path(path).parent_path();
  Descriptor lock(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  locked = lock.Get() < 0 || flock(lock.Get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
  return lock;
}

}  // namespace

std::unique_ptr<UnixListener> TakeSocketPath(const std::string& path, mode_t mode) {
  if (path.empty()) {
    throw std::runtime_error("the path of the socket is empty");
  }
  (void)UnixAddress(path);
  bool locked = false;
  const Descriptor lock = LockFolder(path, locked);
  if (!locked) {
    return nullptr;
  }
  RemoveStaleSocket(path);
  const UmaskGuard guard(~mode & 0777);
  return std::make_unique<UnixListener>(path);
}

}  // namespace standin
