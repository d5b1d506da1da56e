// A handler: the program that replies in the place of the default reply.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "core/frame.h"
#include "tests/support/bytes.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

using standin::EncodeFrame;

constexpr const char* UUID = "00112233-4455-6677-8899-aabbccddeeff";

/// The same reply to each line, by sh(1).
std::string Replying(const std::string& line) {
  return "while read -r line; do printf '%s\\n' '" + line + "'; done";
}

TEST(Handler, TheExampleInPythonKeepsAState) {
  RunningStandin standin({"--handler", TREL_SOURCE_DIR "/standin/examples/handler.py"});
  std::string out = standin.Client({"info-proactive-rebalance"}).out;
  out += standin.Client({"start-proactive-rebalance"}).out;
  for (int poll = 0; poll < 3; ++poll) {
    out += standin.Client({"info-proactive-rebalance"}).out;
  }
  EXPECT_EQ(
      out,
      "{\"running\": false}\n{\"running\": true}\n{\"running\": true}\n{\"running\": false}\n");
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0) << result.err;
  EXPECT_EQ(result.Events("request").size(), 5U);
}

TEST(Handler, TheExampleInShellComputesReplies) {
  RunningStandin standin({"--handler", TREL_SOURCE_DIR "/standin/examples/handler.sh"});
  EXPECT_EQ(standin.Client({"info-rebalance", "-u", UUID}).out,
            std::string("{\"command\":\"info-rebalance\",\"entity\":\"") + UUID + "\"}\n");
  const ProcessResult refused = standin.Client({"crawler", "-u", UUID});
  EXPECT_EQ(refused.err, "Error received: Read-only file system: read only\n");
  EXPECT_EQ(standin.Stop().exitValue, 0);
}

TEST(Handler, IsAskedWhatNoEntryRepliesTo) {
  RunningStandin standin(
      Json{{"rules",
            {{{"command", "info-owner-rebalance"}, {"reply", {{"text", "script"}}}},
             {{"name", "counted"},
              {"command", "fitness-stats-get"},
              {"expect", {{"exactly", 1}}}}}}},
      {"--handler", Replying(R"({"text": "handler"})")});
  EXPECT_EQ(standin.Client({"info-owner-rebalance"}).out, "script\n");
  EXPECT_EQ(standin.Client({"fitness-stats-get"}).out, "handler\n");
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 0) << result.err;
  EXPECT_EQ(result.Events("request").at(1).at("entry"), "counted");
}

TEST(Handler, GetsTheLogLineOfTheRequestWithNothingCut) {
  const TempFolder folder;
  RunningStandin standin(
      {"--hex", "--handler", "tee " + (folder / "got") + " | " + Replying("{}")});
  (void)standin.Exchange(EncodeFrame(7, std::string(5000, 'x')));
  Json logged = standin.NextLine();
  EXPECT_EQ(standin.Stop().exitValue, 0);
  Json got = Json::parse(ReadFile(folder / "got"));
  EXPECT_EQ(got.at("fields").at("level"), std::string(5000, 'x'));
  for (Json* const line : {&logged, &got}) {
    line->erase("time");
  }
  logged.erase("reply");
  EXPECT_EQ(got.dump(), logged.dump());
}

TEST(Handler, ClientsSideBySideGetTheirOwnReplies) {
  constexpr int CLIENTS = 200;
  const RunningStandin standin(
      {"--handler", "jq --unbuffered --compact-output '{text: .fields.level}'"});
  std::vector<standin::Descriptor> clients;
  for (int client = 0; client < CLIENTS; ++client) {
    clients.push_back(ConnectTo(standin.Socket()));
    WriteAll(clients.back().Get(), EncodeFrame(7, std::to_string(client)));
  }
  int number = 0;
  for (const standin::Descriptor& client : clients) {
    EXPECT_EQ(ReadFrame(client.Get()), EncodeFrame(0, std::to_string(number++)));
  }
}

TEST(Handler, EveryTypeOfReplyIsPossible) {
  const TempFolder folder;
  WriteFile(folder / "file", "abc");
  std::string fromHere;
  for (int up = 0; up < 40; ++up) {
    fromHere += "../";
  }
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"status": 5, "hex": "41"})", EncodeFrame(5, "A")},
      {R"({"file": ")" + fromHere + (folder / "file") + "\"}", EncodeFrame(0, "abc")},
      {R"({"stream": [{"text": "a"}, {"text": "b"}]})", "ab"},
      {R"({"text": "abc", "cutPayload": 1})", EncodeFrame(0, "abc").substr(0, 9)},
      {R"({"close": "after-request"})", ""},
  };
  for (const auto& [line, bytes] : cases) {
    const RunningStandin standin({"--handler", Replying(line)});
    EXPECT_TRUE(SameBytes(bytes, standin.Exchange(EncodeFrame(35, "")))) << line;
  }
}

TEST(Handler, AFailureIsReportedAndItsClientRefused) {
  struct Case {
    std::string handler;
    std::string why;
    std::string payload = {};
  };
  const std::vector<Case> cases = {
      {"exit 7", "it ended before it replied"},
      {"read -r line; exit 0", "it ended before it replied"},
      // It does not even take the request.
      {"exec sleep 1000", "it did not reply within 1 seconds", std::string(1000000, 'x')},
      {"while read -r line; do printf '{}\\n{}\\n'; done",
       "it printed more than one line for a request"},
      {"read -r line; cat /dev/zero", "it printed a line of more than 16 MiB"},
      {Replying(R"({"txt": "a"})"),
       "its reply: unknown member \"txt\", known are: delay, status, text, file, hex, length, "
       "cutHeader, cutPayload, bytewise, forward"},
      {Replying(R"({"close": "before-reading"})"),
       "its reply/close: the request has been read by now"},
      {Replying(R"({"close": "after-header"})"),
       "its reply/close: the request has been read by now"},
      {"while read -r line; do echo nonsense; done",
       "parse error at line 1, column 2: syntax error while "
       "parsing value - invalid literal; last read: 'no'"},
  };
  for (const Case& test : cases) {
    RunningStandin standin({"--handler-timeout", "1", "--handler", test.handler});
    EXPECT_TRUE(SameBytes(EncodeFrame(0x0bad0001, "the handler failed"),
                          standin.Exchange(EncodeFrame(7, test.payload))));
    const StandinResult result = standin.Stop();
    EXPECT_EQ(result.exitValue, 4) << test.handler;
    EXPECT_EQ(result.err, "trel-standin: the handler failed: " + test.why + "\n");
    EXPECT_EQ(result.Events("handler-failed").at(0).at("why"), test.why);
  }
}

TEST(Handler, MayReplyWithALineOf16MiB) {
  constexpr std::size_t MOST = (16U << 20U) - 11;
  for (const bool fits : {true, false}) {
    const std::string size = std::to_string(fits ? MOST : MOST + 1);
    RunningStandin standin({"--handler", "read -r line; printf '{\"text\":\"'; head -c " + size +
                                             " /dev/zero | tr '\\0' x; echo '\"}'; read -r line"});
    EXPECT_EQ(standin.Exchange(EncodeFrame(35, "")),
              fits ? EncodeFrame(0, std::string(MOST, 'x'))
                   : EncodeFrame(0x0bad0001, "the handler failed"));
  }
}

TEST(Handler, IsAskedAgainAfterAReplyThatIsNone) {
  RunningStandin standin({"--handler", "read -r line; echo {; " + Replying("{}")});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  EXPECT_EQ(standin.Stop().exitValue, 4);
}

TEST(Handler, ALineBetweenTwoRequestsIsOneTooMany) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "go").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((folder / "gone").c_str(), 0600), 0);
  RunningStandin standin({"--handler", "read -r line; echo {}; read -r line <" + (folder / "go") +
                                           "; echo {}; echo >" + (folder / "gone") + "; " +
                                           Replying("{}")});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 0);
  WriteFile(folder / "go", "\n");
  EXPECT_EQ(ReadFile(folder / "gone"), "\n");
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  EXPECT_EQ(standin.Stop().Events("handler-failed").at(0).at("why"),
            "it printed more than one line for a request");
}

TEST(Handler, IsAskedNoMoreOnceItsRepliesCannotBeTold) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "alive").c_str(), 0600), 0);
  const standin::Descriptor alive(open((folder / "alive").c_str(), O_RDONLY | O_NONBLOCK));
  RunningStandin standin(
      {"--handler",
       "exec 9>" + (folder / "alive") +
           "; read -r line; echo {}; echo {}; read -r line; read -r line; sleep 1000"});
  (void)standin.Client({"what-if-cancel"});
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  EXPECT_EQ(standin.Client({"what-if-cancel"}).exitValue, 1);
  // It has been killed.
  pollfd writer{.fd = alive.Get(), .events = 0, .revents = 0};
  EXPECT_EQ(poll(&writer, 1, 60000), 1);
  const StandinResult result = standin.Stop();
  EXPECT_EQ(result.exitValue, 4);
  EXPECT_EQ(result.Events("handler-failed").back().at("why"), "it is asked no more");
}

TEST(Handler, EndsWithTheStandIn) {
  const TempFolder folder;
  const ProcessResult run = RunStandin({"--socket", folder / "s", "--log", folder / "log",
                                        "--handler", Replying("{}"), "--", "true"});
  EXPECT_TRUE(Ended(run, "", "", 0));
  // The pipe of the output ends with the last process that has it.
  RunningStandin ends({"--handler", "cat >/dev/null; exit 3"});
  const StandinResult ended = ends.Stop();
  EXPECT_EQ(ended.exitValue, 4);
  EXPECT_EQ(ended.err, "trel-standin: the handler failed: sh ended with exit value 3\n");
  RunningStandin stays({"--handler", "trap '' TERM; sleep 1000 >&2 & sleep 1000"});
  const StandinResult killed = stays.Stop();
  EXPECT_EQ(killed.exitValue, 4);
  EXPECT_EQ(killed.err, "trel-standin: the handler failed: it did not end with its input\n");
}

TEST(Handler, AReplyThatIsDueIsWaitedForAtTheEnd) {
  const TempFolder folder;
  RunningStandin standin(
      {"--handler", "read -r line; kill -TERM $PPID; sleep 0.1; echo '{\"text\": \"due\"}'"});
  EXPECT_TRUE(SameBytes(EncodeFrame(0, "due"), standin.Exchange(EncodeFrame(35, ""))));
  EXPECT_EQ(standin.Finish().exitValue, 0);
}

}  // namespace
}  // namespace tests
