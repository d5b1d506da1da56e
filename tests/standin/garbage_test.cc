// Bytes that are no request: the stand-in survives them and says what it saw.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <random>

#include "core/frame.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

std::string RandomBytes(std::mt19937& random, std::size_t count) {
  std::uniform_int_distribution<int> byte(0, 255);
  std::string bytes;
  while (bytes.size() < count) {
    bytes.push_back(static_cast<char>(byte(random)));
  }
  return bytes;
}

TEST(Garbage, EveryLengthUpTo64BytesOfEveryFillIsSurvived) {
  RunningStandin standin;
  std::size_t sent = 0;
  for (const char fill : {'\0', '\x01', ' ', '\xff'}) {
    for (std::size_t length = 0; length <= 64; ++length) {
      (void)standin.Exchange(std::string(length, fill));
      ++sent;
    }
  }
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.Events("incomplete").size() + result.Events("refused").size() +
                result.Events("request").size(),
            sent + 1);
}

TEST(Garbage, RandomBytesAreSurvived) {
  std::mt19937 random(20261121);
  std::uniform_int_distribution<std::size_t> length(65, 4096);
  RunningStandin standin;
  for (int round = 0; round < 500; ++round) {
    (void)standin.Exchange(RandomBytes(random, length(random)));
  }
  EXPECT_EQ(standin.Client({"stats"}).exitValue, 0);
  EXPECT_EQ(standin.Stop().exitValue, 0);
}

TEST(Garbage, RandomPayloadsOfEveryCommandAreDecodedOrRemarked) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> length(0, 2048);
  RunningStandin standin;
  for (unsigned code = 0; code <= 40; ++code) {
    for (int round = 0; round < 8; ++round) {
      const std::string payload = RandomBytes(random, length(random));
      (void)standin.Exchange(standin::EncodeFrame(code, payload));
      const Json line = standin.NextLine();
      ASSERT_EQ(line.at("event"), "request");
      ASSERT_EQ(line.at("length"), payload.size());
    }
  }
  EXPECT_EQ(standin.Stop().exitValue, 0);
}

TEST(Garbage, AClientThatHangsUpInTheMiddleOfALongReplyIsSurvived) {
  const Json script = {
      {"rules",
       {{{"command", "stats"}, {"reply", {{"stream", {{{"text", std::string(1 << 20, 'x')}}}}}}}}}};
  RunningStandin standin(script, {});
  {
    const standin::Descriptor client = ConnectTo(standin.Socket());
    WriteAll(client.Get(), standin::EncodeFrame(1, ""));
    EXPECT_EQ(ReadExactly(client.Get(), 3), "xxx");
  }
  EXPECT_EQ(standin.NextLine().at("event"), "request");
  const Json line = standin.NextLine();
  EXPECT_EQ(line.at("event"), "reply-not-taken");
  EXPECT_EQ(line.at("why"), "hung up");
}

}  // namespace
}  // namespace tests
