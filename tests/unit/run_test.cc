// The run sequence: the order of its calls on every path, and what it releases.

#include "client/run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>

#include "client/command_table.h"
#include "support/bytes.h"
#include "unit/command_line.h"
#include "unit/wrapped_calls.h"

namespace trel {
namespace {

using tests::CommandLine;
using tests::FromHex;
using tests::WrappedCalls;
using tests::Zeros;
using Calls = std::vector<std::string>;
using RunClientDeathTest = testing::Test;

struct Ended {
  ReturnStatus status;
  std::string out;
  std::string err;
  Calls names;  ///< of all calls but free, in order
  std::size_t releases;
};

/// Runs the client with what `calls` have been told, and no real socket.
Ended RunWith(WrappedCalls& calls, const std::vector<std::string>& words,
              std::string name = "trel-tool") {
  CommandLine line(words);
  line.Vector()[0] = name.data();
  calls.Script("socket", {.result = 9})
      .Script("setsockopt", {.result = 0})
      .Script("connect", {.result = 0})
      .Script("send", {.result = 8})
      .Script("send", {.result = 8});
  Ended run{.status = 0, .out = "", .err = "", .names = {}, .releases = 0};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const std::size_t before = calls.Seen({"calloc", "free"}).size();
  run.status = RunClient(line.Count(), line.Vector());
  const Calls seen = calls.Seen({"signal", "calloc", "socket", "setsockopt", "connect", "send",
                                 "recv", "read", "write", "fopen", "strdup"});
  run.releases = calls.Seen({"free"}).size();
  EXPECT_EQ(before, 0U);
  run.err = testing::internal::GetCapturedStderr();
  run.out = testing::internal::GetCapturedStdout();
  for (const std::string& call : seen) {
    run.names.push_back(call.substr(0, call.find('(')));
  }
  return run;
}

TEST(RunClient, MakesItsCallsInAFixedOrder) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 00000002")})
      .Script("recv", {.result = 2, .bytes = "ok"});
  const Ended run = RunWith(calls, {"info-rebalance", "-a"});
  EXPECT_EQ(run.status, STATUS_OK);
  EXPECT_EQ(run.out, "ok\n");
  EXPECT_EQ(run.names, (Calls{"signal", "calloc", "calloc", "socket", "setsockopt", "connect",
                              "send", "send", "recv", "recv", "write"}));
  EXPECT_EQ(calls.Seen({"signal", "calloc"}),
            (Calls{"signal(13, ignore)", "calloc(1, 94720)", "calloc(1, 94720)"}));
  EXPECT_EQ(run.releases, 2U);
}

TEST(RunClient, OpensTheOutputFileAfterTheSendAndBeforeTheFirstRead) {
  WrappedCalls calls;
  calls.Script("read", {.result = 0});
  const Ended run = RunWith(calls, {"stats", "-o", "/dev/null"});
  EXPECT_EQ(run.status, STATUS_OK);
  EXPECT_EQ(run.names, (Calls{"signal", "calloc", "calloc", "socket", "setsockopt", "connect",
                              "send", "fopen", "read"}));
  EXPECT_EQ(run.releases, 2U);
}

TEST(RunClient, SetsTheTimeoutOfEachCommand) {
  for (const CommandSpec& command : COMMAND_TABLE) {
    WrappedCalls calls;
    calls.Script("recv", {.result = 0}).Script("read", {.result = 0});
    const std::string list(36, 'x');
    const std::vector<std::string> words = {
        command.word, "-u", "01234567-89ab-cdef", "-l", list, "-j", "{}", "-i", "MOVE", "-x", list};
    const Ended run = RunWith(calls, words);
    EXPECT_EQ(run.status, STATUS_OK) << command.word;
    const std::string seconds = command.code == 17                         ? "7200"
                                : command.code == 15 || command.code == 16 ? "1800"
                                                                           : "20";
    EXPECT_EQ(calls.Seen({"setsockopt"}), Calls{"setsockopt(9, 1, 20, " + seconds + ", 0, 16)"})
        << command.word;
  }
}

TEST(RunClient, ChecksTheFirstWordOfTheLineWhenNoLongOptionIsGiven) {
  // Neither the name before it nor the word behind it, were they numbers that fail.
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-o", "-1", "log-level", "3"},
        std::vector<std::string>{"-o", "-1", "block-cdb-cb", "add"}}) {
    WrappedCalls calls;
    calls.Script("recv", {.result = 0});
    EXPECT_EQ(RunWith(calls, words).status, STATUS_OK);
  }
  WrappedCalls calls;
  calls.Script("recv", {.result = 0});
  EXPECT_EQ(RunWith(calls, {"log-level", "3"}, "-1").status, STATUS_OK);
}

TEST(RunClient, WhatIfUpgradeSendsZerosForOptionsThatAreNotGiven) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 0});
  const std::string list(36, 'x');
  EXPECT_EQ(RunWith(calls, {"what-if-upgrade", "-l", list}).status, STATUS_OK);
  EXPECT_EQ(calls.Seen({"send"}).at(1).substr(0, 8 + 64),
            "send(9, " + std::string(56, '0') + "01000000");
}

TEST(RunClient, WithoutWordsPrintsTheUsageTextAlone) {
  WrappedCalls calls;
  const Ended run = RunWith(calls, {});
  EXPECT_EQ(run.status, STATUS_FAILURE);
  EXPECT_TRUE(run.out.starts_with("usage: trel-tool <options> <cmd> <args>\n"));
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.names, (Calls{"signal", "calloc", "calloc"}));
  EXPECT_EQ(run.releases, 2U);
}

TEST(RunClient, ReleasesTheListsOnEveryUsageError) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-z"}, {"-X", "4"}, {"-a"}, {"statz"}, {"crawler"}}) {
    WrappedCalls calls;
    const Ended run = RunWith(calls, words);
    EXPECT_EQ(run.status, STATUS_FAILURE) << words[0];
    EXPECT_NE(run.err, "") << words[0];
    EXPECT_TRUE(run.out.starts_with("usage: trel-tool ")) << words[0];
    EXPECT_EQ(run.names, (Calls{"signal", "calloc", "calloc"})) << words[0];
    EXPECT_EQ(run.releases, 2U) << words[0];
  }
}

TEST(RunClient, WarnsOfARefusedSignalAndCarriesOn) {
  WrappedCalls calls;
  calls.Script("signal", {.error = EINVAL}).Script("read", {.result = 0});
  const Ended run = RunWith(calls, {"stats"});
  EXPECT_EQ(run.status, STATUS_OK);
  EXPECT_EQ(run.err, "Cannot register SIGPIPE handler");
  EXPECT_EQ(run.names.back(), "read");
}

TEST(RunClient, ReleasesTheListsWhenTheConnectionFails) {
  for (const char* step : {"socket", "setsockopt", "connect"}) {
    WrappedCalls calls;
    calls.Script(step, {.result = -1, .error = EACCES});
    const Ended run = RunWith(calls, {"stats"});
    EXPECT_EQ(run.status, STATUS_FAILURE) << step;
    EXPECT_EQ(run.out, "") << step;
    EXPECT_NE(run.err.find("error: Permission denied\n"), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.names.begin(), run.names.end(), "send"), 0) << step;
    EXPECT_EQ(run.releases, 2U) << step;
  }
}

TEST(RunClient, NeverReleasesTheJsonOrASuccessfulReply) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("00000000 00000002")})
      .Script("recv", {.result = 2, .bytes = "ok"});
  EXPECT_EQ(RunWith(calls, {"fitness-config-set", "-j", "{}"}).releases, 2U);
}

TEST(RunClient, ReturnsTheDaemonsStatusUnchanged) {
  WrappedCalls calls;
  calls.Script("recv", {.result = 8, .bytes = FromHex("12345600 00000000")});
  EXPECT_EQ(RunWith(calls, {"fix-concats"}).status, 0x12345600U);
}

TEST_F(RunClientDeathTest, HelpEndsTheProcessWithZeroInTheMiddleOfParsing) {
  // Standard output goes where the death test looks.
  EXPECT_EXIT(
      {
        CommandLine line({"-h", "-X", "9"});
        dup2(2, 1);
        (void)RunClient(line.Count(), line.Vector());
      },
      testing::ExitedWithCode(0), "^usage: trel-tool <options> <cmd> <args>\n");
}

TEST_F(RunClientDeathTest, PanicsWhenEitherListCannotBeAllocated) {
  for (const int earlier : {0, 1}) {
    EXPECT_EXIT(
        {
          CommandLine line({"-X", "9"});
          WrappedCalls calls;
          for (int call = 0; call < earlier; ++call) {
            calls.Script("calloc", {.result = 1});
          }
          calls.Script("calloc", {.result = 0, .error = ENOMEM});
          (void)RunClient(line.Count(), line.Vector());
        },
        testing::KilledBySignal(SIGABRT),
        "^TREL_SafeCalloc:3126: Failed to allocate new memory\n$");
  }
}

}  // namespace
}  // namespace trel
