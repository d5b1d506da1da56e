// What fails before a byte is sent: the signal, the memory, the connection.

#include <gtest/gtest.h>

#include <csignal>

#include "cli/command_samples.h"
#include "cli/errnos.h"
#include "cli/injected_run.h"
#include "support/bytes.h"

namespace tests {
namespace {

class SetupFaults : public testing::TestWithParam<CommandSample> {
 protected:
  static InjectedResult Run(const std::string& fault) {
    return RunInjected({.words = GetParam().words, .steps = ReplyOk(GetParam()), .fault = fault});
  }

  static void ExpectAbort(const std::string& fault, const std::string& text, bool called) {
    SCOPED_TRACE(fault);
    const InjectedResult run = Run(fault);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, text);
    EXPECT_EQ(run.signal, SIGABRT);
    EXPECT_EQ(run.called, called);
    EXPECT_EQ(run.request, "");
    EXPECT_EQ(NamesAfterFault(run), "");
  }

  /// Nothing is sent, the lists alone are released, the usage text stays away.
  static void ExpectFailure(const std::string& call, const std::string& text) {
    const auto expectOne = [&](const Errno& error) {
      SCOPED_TRACE(Failing(call, error));
      const InjectedResult run = Run(Failing(call, error));
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, text + ": " + error.libraryText + "\n");
      EXPECT_EQ(run.exitValue, 1);
      EXPECT_FALSE(run.called);
      EXPECT_EQ(NamesAfterFault(run), "free free");
    };
    expectOne(NO_ERRNO);
    for (const Errno& error : ERRNOS) {
      expectOne(error);
    }
  }
};
INSTANTIATE_TEST_SUITE_P(Of, SetupFaults, testing::ValuesIn(SampleOfEachMode()), SampleName);

TEST_P(SetupFaults, AFailedSignalIsReportedAndTheRunGoesOn) {
  const InjectedResult run = Run("signal:1:errno=22");
  EXPECT_EQ(run.out, OkOutput(GetParam()));
  EXPECT_EQ(run.err, "Cannot register SIGPIPE handler");
  EXPECT_EQ(run.exitValue, 0);
  EXPECT_TRUE(SameBytes(GetParam().Request(), run.request));
}

TEST_P(SetupFaults, AListThatCannotBeAllocatedAborts) {
  const std::string text = "TREL_SafeCalloc:3126: Failed to allocate new memory\n";
  ExpectAbort("calloc:1:errno=12", text, false);
  ExpectAbort("calloc:2:errno=12", text, false);
  ExpectAbort("calloc:2:errno=0", text, false);
}

TEST_P(SetupFaults, AFailedSocketEndsWithOneForAnyErrno) {
  ExpectFailure("socket:1", "socket error");
}

TEST_P(SetupFaults, AFailedTimeoutEndsWithOneForAnyErrno) {
  ExpectFailure("setsockopt:1", "set timeout error");
}

TEST_P(SetupFaults, AnyResultOfTheTimeoutBut0IsAFailure) {
  const InjectedResult run = Run("setsockopt:1:short=1");
  EXPECT_EQ(run.err, "set timeout error: Success\n");
  EXPECT_EQ(run.exitValue, 1);
  EXPECT_FALSE(run.called);
  EXPECT_EQ(NamesAfterFault(run), "free free");
}

TEST_P(SetupFaults, AFailedConnectEndsWithOneForAnyErrno) {
  ExpectFailure("connect:1", "connect error");
}

class JsonFaults : public SetupFaults {};
INSTANTIATE_TEST_SUITE_P(Of, JsonFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(), &CommandSample::CopiesText)),
                         SampleName);

TEST_P(JsonFaults, AJsonTextThatCannotBeCopiedAborts) {
  ExpectAbort("strdup:1:errno=12", "UtilSafeStrdup0: Failed to allocate new memory\n", false);
}

class RecordFaults : public SetupFaults {};
INSTANTIATE_TEST_SUITE_P(Of, RecordFaults,
                         testing::ValuesIn(Only(SampleOfEachPayload(),
                                                &CommandSample::HasHeapRecord)),
                         SampleName);

TEST_P(RecordFaults, ARecordThatCannotBeAllocatedAbortsBetweenConnectAndSend) {
  ExpectAbort("calloc:3:errno=12", "TREL_SafeCalloc:3126: Failed to allocate new memory\n", true);
}

}  // namespace
}  // namespace tests
