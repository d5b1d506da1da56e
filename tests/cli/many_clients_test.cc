// Five hundred clients at once, all connected before the first is answered: each
// gets its own reply and no other.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <map>
#include <system_error>

#include "core/frame.h"
#include "core/unix_listener.h"
#include "tests/cli/replies.h"
#include "tests/support/temp_folder.h"

namespace tests {
namespace {

constexpr int CLIENTS = 500;

/// A UUID that ends in the number.
std::string UuidOf(int number) {
  const std::string digits = std::to_string(number);
  const std::string none = "00000000-0000-0000-0000-000000000000";
  return none.substr(0, none.size() - digits.size()) + digits;
}

/// Starts a client that asks for its number's UUID, standard error to a file. The
/// command waits half an hour for its reply: however long the others take to start,
/// the first is still there.
pid_t StartClient(const TempFolder& folder, int number) {
  const std::string path = ClientPath();
  const std::string socket = folder / "s";
  const std::string uuid = UuidOf(number);
  const std::string output = folder / uuid;
  std::vector<const char*> words = {
      "trel-tool", "-s",         socket.c_str(), "resources-to-fix-unhealthy-objects",
      "-u",        uuid.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, output.c_str(), O_WRONLY | O_CREAT,
                                   0600);
  pid_t client = -1;
  const int error = posix_spawn(&client, path.c_str(), &actions, nullptr,
                                const_cast<char**>(words.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "posix_spawn");
  }
  return client;
}

TEST(ManyClients, AreEachAnsweredWithTheirOwnReply) {
  const TempFolder folder;
  const standin::UnixListener listener(folder / "s");
  std::map<int, pid_t> clients;
  for (int number = 0; number < CLIENTS; ++number) {
    clients[number] = StartClient(folder, number);
  }
  std::vector<standin::Descriptor> connections;
  for (int number = 0; number < CLIENTS; ++number) {
    connections.push_back(listener.Accept());
  }
  for (const standin::Descriptor& connection : connections) {
    const std::string request = standin::ReadFrame(connection.Get());
    const std::string uuid = request.substr(8);
    standin::WriteAll(connection.Get(), Frame("00000005", "answer to " + uuid));
  }
  for (const auto& [number, client] : clients) {
    int status = 0;
    ASSERT_EQ(waitpid(client, &status, 0), client);
    EXPECT_EQ(WEXITSTATUS(status), 5);
    EXPECT_EQ(ReadFile(folder / UuidOf(number)),
              "Error received: Unknown status 0x00000005: answer to " + UuidOf(number) + "\n");
  }
}

}  // namespace
}  // namespace tests
