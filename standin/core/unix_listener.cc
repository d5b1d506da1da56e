// socket(2), bind(2), listen(2), accept(2) with their errors as exceptions.

#include "core/unix_listener.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "core/unix_address.h"

namespace standin {
namespace {

constexpr int BACKLOG = SOMAXCONN;

int Checked(int result, const std::string& call) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
  return result;
}

}  // namespace

UnixListener::UnixListener(std::string path)
    : path_(std::move(path)),
      socket_(Checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
  const sockaddr_un address = UnixAddress(path_);
  Checked(bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
          "bind " + path_);
  Checked(listen(socket_.Get(), BACKLOG), "listen");
  Checked(lstat(path_.c_str(), &place_), "lstat");
}

UnixListener::~UnixListener() {
  struct stat found {};
  if (lstat(path_.c_str(), &found) == 0 && found.st_dev == place_.st_dev &&
      found.st_ino == place_.st_ino) {
    unlink(path_.c_str());
  }
}

Descriptor UnixListener::Accept() const {
  return Descriptor(Checked(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
}

}  // namespace standin
