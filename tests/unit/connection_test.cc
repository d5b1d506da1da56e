// Connecting: three calls in order, each failure with its own words.

#include "transport/connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "core/unix_listener.h"
#include "support/temp_folder.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using tests::WrappedCalls;
using Calls = std::vector<std::string>;

struct Attempt {
  ReturnStatus status;
  int socket;
  std::string err;
};

Attempt Connect(const std::string& path, std::uint32_t seconds = 20) {
  Attempt attempt{.status = 0, .socket = -77, .err = ""};
  testing::internal::CaptureStderr();
  attempt.status = OpenDaemonConnection(path.c_str(), seconds, &attempt.socket);
  attempt.err = testing::internal::GetCapturedStderr();
  return attempt;
}

/// A path in hexadecimal, filled up with zeros to the 108 bytes of an address (of
/// which the log holds 64).
std::string PathField(const std::string& path) {
  std::string field = path;
  field.resize(64);
  std::string hex;
  for (const char byte : field) {
    constexpr char DIGITS[] = "0123456789abcdef";
    hex += DIGITS[static_cast<unsigned char>(byte) >> 4];
    hex += DIGITS[static_cast<unsigned char>(byte) & 15];
  }
  return hex;
}

TEST(OpenDaemonConnection, MakesThreeCallsInOrder) {
  WrappedCalls calls;
  calls.Script("socket", {.result = 41})
      .Script("setsockopt", {.result = 0})
      .Script("connect", {.result = 0});
  const Attempt attempt = Connect("/run/x", 1800);
  EXPECT_EQ(attempt.status, STATUS_OK);
  EXPECT_EQ(attempt.socket, 41);
  EXPECT_EQ(attempt.err, "");
  EXPECT_EQ(calls.Seen({"socket", "setsockopt", "connect"}),
            (Calls{"socket(1, 1, 0)", "setsockopt(41, 1, 20, 1800, 0, 16)",
                   "connect(41, 1, " + PathField("/run/x") + ", 110)"}));
}

TEST(OpenDaemonConnection, SetsTheTimeoutThatTheKernelThenHolds) {
  const tests::TempFolder folder;
  const standin::UnixListener listener(folder / "s");
  const Attempt attempt = Connect(folder / "s", 7200);
  ASSERT_EQ(attempt.status, STATUS_OK);
  timeval timeout{};
  socklen_t size = sizeof timeout;
  ASSERT_EQ(getsockopt(attempt.socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
  EXPECT_EQ(timeout.tv_sec, 7200);
  EXPECT_EQ(timeout.tv_usec, 0);
  timeval sending{};
  ASSERT_EQ(getsockopt(attempt.socket, SOL_SOCKET, SO_SNDTIMEO, &sending, &size), 0);
  EXPECT_EQ(sending.tv_sec, 0);
  close(attempt.socket);
}

TEST(OpenDaemonConnection, ReportsAFailedSocketAndStopsThere) {
  WrappedCalls calls;
  calls.Script("socket", {.result = -1, .error = EMFILE});
  const Attempt attempt = Connect("/run/x");
  EXPECT_EQ(attempt.status, STATUS_FAILURE);
  EXPECT_EQ(attempt.socket, -77);
  EXPECT_EQ(attempt.err, "socket error: Too many open files\n");
  EXPECT_EQ(calls.Seen({"socket", "setsockopt", "connect"}), Calls{"socket(1, 1, 0)"});
}

TEST(OpenDaemonConnection, ReportsAFailedTimeoutAndStopsThere) {
  for (const long result : {-1L, 1L}) {
    WrappedCalls calls;
    calls.Script("socket", {.result = 41}).Script("setsockopt", {.result = result, .error = EDOM});
    const Attempt attempt = Connect("/run/x");
    EXPECT_EQ(attempt.status, STATUS_FAILURE);
    EXPECT_EQ(attempt.socket, -77);
    EXPECT_EQ(attempt.err, "set timeout error: Numerical argument out of domain\n");
    EXPECT_EQ(calls.Seen({"connect"}), Calls{});
  }
}

TEST(OpenDaemonConnection, ReportsAFailedConnect) {
  WrappedCalls calls;
  calls.Script("connect", {.result = -1, .error = EACCES});
  const Attempt attempt = Connect("/run/x");
  EXPECT_EQ(attempt.status, STATUS_FAILURE);
  EXPECT_EQ(attempt.socket, -77);
  EXPECT_EQ(attempt.err, "connect error: Permission denied\n");
}

TEST(OpenDaemonConnection, FailsWhateverErrnoSays) {
  for (const char* call : {"socket", "setsockopt", "connect"}) {
    WrappedCalls calls;
    calls.Script(call, {.result = -1, .error = 0});
    EXPECT_EQ(Connect("/nonexistent/socket").status, STATUS_FAILURE) << call;
  }
}

TEST(OpenDaemonConnection, CutsAPathOf120CharactersTo107) {
  const tests::TempFolder folder;
  std::string path = folder / "";
  path.append(120 - path.size(), 'p');
  const standin::UnixListener listener(path.substr(0, 107));
  const Attempt attempt = Connect(path);
  EXPECT_EQ(attempt.status, STATUS_OK) << attempt.err;
  close(attempt.socket);
}

TEST(OpenDaemonConnection, TakesAPathOf107CharactersWhole) {
  const tests::TempFolder folder;
  std::string path = folder / "";
  path.append(107 - path.size(), 'p');
  const standin::UnixListener listener(path);
  const Attempt attempt = Connect(path);
  EXPECT_EQ(attempt.status, STATUS_OK) << attempt.err;
  close(attempt.socket);
  EXPECT_EQ(Connect(path.substr(0, 106)).err, "connect error: No such file or directory\n");
}

}  // namespace
}  // namespace trel
