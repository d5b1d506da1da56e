// Looks at what is at the path, and whether somebody listens there.

#include "server/socket_place.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "core/unix_address.h"
#include "core/unix_connect.h"

namespace standin {
namespace {

bool SomebodyListens(const std::string& path) {
  try {
    (void)ConnectTo(path);
    return true;
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::connection_refused) {
      return false;
    }
    throw;
  }
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

}  // namespace

std::unique_ptr<UnixListener> TakeSocketPlace(const std::string& path, mode_t mode) {
  (void)UnixAddress(path);
  RemoveStaleSocket(path);
  const UmaskGuard guard(~mode & 0777);
  return std::make_unique<UnixListener>(path);
}

}  // namespace standin
