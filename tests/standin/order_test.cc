// Which client is served first, when several are.

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include "core/descriptor.h"
#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::Descriptor;
using standin::EncodeFrame;

/// Sends byte by byte, each once the one before has been received.
void Dribble(int connection, std::string_view bytes) {
  for (const char byte : bytes) {
    WriteAll(connection, {&byte, 1});
    int unread = 1;
    while (unread != 0) {
      ASSERT_EQ(ioctl(connection, SIOCOUTQ, &unread), 0);
    }
  }
}

/// So many clients of a new stand-in that it has accepted: a later one has had its reply.
std::vector<Descriptor> Accepted(RunningStandin& standin, int count) {
  std::vector<Descriptor> clients;
  for (int client = 0; client < count; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
  }
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(standin.NextLine().at("connection"), count + 1);
  return clients;
}

TEST(Order, RequestsThatArriveInAnotherOrderAreTakenInThatOfTheirConnections) {
  RunningStandin standin;
  std::vector<Descriptor> clients = Accepted(standin, 300);
  kill(standin.Process(), SIGSTOP);
  for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
    WriteAll(client->Get(), EncodeFrame(30, ""));
  }
  kill(standin.Process(), SIGCONT);
  for (int client = 1; client <= 300; ++client) {
    ASSERT_EQ(standin.NextLine().at("connection"), client);
  }
}

TEST(Order, ANewClientIsTakenAfterThoseWhoWereThereBefore) {
  RunningStandin standin;
  std::vector<Descriptor> clients = Accepted(standin, 2);
  kill(standin.Process(), SIGSTOP);
  clients.insert(clients.begin(), ConnectTo(standin.Socket()));
  for (const Descriptor& client : clients) {
    WriteAll(client.Get(), EncodeFrame(30, ""));
  }
  kill(standin.Process(), SIGCONT);
  for (const int connection : {1, 2, 4}) {
    EXPECT_EQ(standin.NextLine().at("connection"), connection);
  }
}

TEST(Order, RequestsAreTakenInTheOrderOfTheirConnections) {
  RunningStandin standin;
  for (int client = 0; client < 500; ++client) {
    const Descriptor connection = ConnectTo(standin.Socket());
    WriteAll(connection.Get(), EncodeFrame(30, ""));
  }
  const std::vector<Json> requests = standin.Stop().Events("request");
  ASSERT_EQ(requests.size(), 500U);
  for (std::size_t place = 0; place < requests.size(); ++place) {
    ASSERT_EQ(requests[place].at("connection"), place + 1);
  }
}

TEST(Order, ASlowRequestIsTakenOnceItHasArrived) {
  RunningStandin standin;
  const Descriptor slow = ConnectTo(standin.Socket());
  const std::string request = EncodeFrame(13, "four");
  WriteAll(slow.Get(), request.substr(0, 3));
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  WriteAll(slow.Get(), request.substr(3));
  shutdown(slow.Get(), SHUT_WR);
  EXPECT_TRUE(SameBytes(Zeros(8), ReadFrame(slow.Get())));
  const std::vector<Json> requests = standin.Stop().Events("request");
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].at("connection"), 2);
  EXPECT_EQ(requests[1].at("connection"), 1);
}

TEST(Order, WhoeverSendsInManyPiecesIsPassedByOthers) {
  RunningStandin standin;
  const std::string request = EncodeFrame(4, std::string(30, ' '));
  const Descriptor slow = ConnectTo(standin.Socket());
  const Descriptor other = ConnectTo(standin.Socket());
  const Descriptor slowToo = ConnectTo(standin.Socket());
  for (const Descriptor* const client : {&slow, &slowToo}) {
    Dribble(client->Get(), std::string_view(request).substr(0, request.size() - 1));
  }
  // Once another has been served, the slow ones are waited for.
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(standin.NextLine().at("connection"), 4);
  kill(standin.Process(), SIGSTOP);
  for (const Descriptor* const client : {&slow, &slowToo}) {
    WriteAll(client->Get(), request.substr(request.size() - 1));
  }
  WriteAll(other.Get(), EncodeFrame(30, ""));
  kill(standin.Process(), SIGCONT);
  EXPECT_EQ(standin.NextLine().at("connection"), 2);
  const int first = standin.NextLine().at("connection");
  EXPECT_EQ(standin.NextLine().at("connection").get<int>() + first, 4);
}

}  // namespace
}  // namespace tests
