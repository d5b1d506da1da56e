// All 37 commands against a good daemon, one that answers with an error, and one
// that hangs up without a word.

#include <gtest/gtest.h>

#include <algorithm>

#include "cli/replies.h"
#include "support/client.h"

namespace tests {
namespace {

using standin::ReadRequest;
using standin::SendBytes;

enum class Mode { STREAM, PRINT, SILENT, NONE };
using enum Mode;

struct Command {
  std::string code;  ///< two hexadecimal digits: the last byte of the request's code
  std::vector<std::string> words;
  Mode mode;
};

/// The command word, without its hyphens, and -all where that makes a difference.
std::string NameOf(const Command& command) {
  std::string name = command.words[0] + (command.words.back() == "-a" ? "-all" : "");
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

void PrintTo(const Command& command, std::ostream* out) { *out << NameOf(command); }

const std::string UUID = "01234567-89ab-cdef-0123-456789abcdef";

const Command COMMANDS[] = {
    {"01", {"stats"}, STREAM},
    {"02", {"crawler", "-u", UUID}, SILENT},
    {"03", {"fitness-config-get"}, PRINT},
    {"04", {"fitness-config-set", "-j", "{}"}, SILENT},
    {"05", {"fitness-config-reset"}, SILENT},
    {"06", {"fitness-stats-get"}, PRINT},
    {"07", {"log-level", "2"}, SILENT},
    {"08", {"fix-object-immediate", "-u", UUID}, SILENT},
    {"09", {"get-object-last-operation", "-u", UUID}, PRINT},
    {"0a", {"start-proactive-rebalance", "3600", "0.3", "default", "1024"}, SILENT},
    {"0b", {"stop-proactive-rebalance"}, SILENT},
    {"0c", {"info-proactive-rebalance"}, PRINT},
    {"0d", {"fix-concats"}, SILENT},
    {"0e", {"info-rebalance", "-u", UUID}, PRINT},
    {"0f", {"resources-to-fix-unhealthy-objects", "-u", UUID}, PRINT},
    {"10", {"what-if-entity-decom", "-u", UUID, "-d", "1", "-e"}, PRINT},
    {"11", {"what-if-upgrade", "-l", UUID, "-r", "1", "-w"}, PRINT},
    {"12", {"what-if-cancel"}, SILENT},
    {"13", {"force-reconfigure-the-object", "-u", UUID, "-f", "/x"}, SILENT},
    {"14", {"update-treldb", "-f", "/x"}, SILENT},
    {"15", {"replace-treldb", "-f", "/x"}, SILENT},
    {"16", {"enable-trel-recovery-mode", "-m", "3"}, SILENT},
    {"17", {"get-obj-decom-state", "-u", UUID}, PRINT},
    {"18", {"enable-workitem", "-i", "MOVE"}, SILENT},
    {"19", {"disable-workitem", "-i", "CONCAT_IN_MIDDLE"}, SILENT},
    {"1a", {"get-obj-crawler-state", "-u", UUID}, PRINT},
    {"1a", {"get-obj-crawler-state", "-a"}, STREAM},
    {"1b", {"pause-decom-state-progress"}, SILENT},
    {"1c", {"resume-decom-state-progress"}, SILENT},
    {"1d", {"start-decom-state-heartbeat"}, SILENT},
    {"1e", {"pause-failed-delta-entry-processing"}, NONE},
    {"1f", {"block-cdb-cb", "update", "disk"}, NONE},
    {"20", {"refresh-config-opts"}, NONE},
    {"21", {"component-manual-move", "-u", UUID, "-n", UUID}, SILENT},
    {"22", {"set-global-exclusion-list", "-x", UUID, "-X", "1"}, SILENT},
    {"23", {"info-owner-rebalance"}, PRINT},
    {"24", {"set-preferred-fd", "-u", UUID}, SILENT},
    {"25", {"set-nonPreferred-fd", "-u", UUID}, SILENT},
};

class EveryCommand : public testing::TestWithParam<Command> {
 protected:
  static ClientResult Run(const std::string& reply) {
    ClientResult run =
        RunClientAgainst({.words = GetParam().words, .steps = {ReadRequest{}, SendBytes{reply}}});
    EXPECT_EQ(run.request.substr(0, 4), FromHex("000000" + GetParam().code));
    return run;
  }
};
INSTANTIATE_TEST_SUITE_P(With, EveryCommand, testing::ValuesIn(COMMANDS),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(EveryCommand, TreatsAGoodReplyByItsMode) {
  const ClientResult run = Run(GetParam().mode == STREAM ? "yes" : Frame("00000000", "yes"));
  EXPECT_EQ(run.out, GetParam().mode == STREAM ? "yes" : GetParam().mode == PRINT ? "yes\n" : "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

TEST_P(EveryCommand, ReportsAnErrorReplyIfItsReplyIsFramed) {
  const bool framed = GetParam().mode == PRINT || GetParam().mode == SILENT;
  const ClientResult run = Run(Frame("00000005", "why"));
  // As a stream, the frame is text up to its first zero byte: none.
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, framed ? "Error received: Unknown status 0x00000005: why\n" : "");
  EXPECT_EQ(run.exitValue, framed ? 5 : 0);
}

TEST_P(EveryCommand, TakesAHangUpWithoutAWordForAnEmptySuccess) {
  const ClientResult run = Run("");
  EXPECT_EQ(run.out, GetParam().mode == PRINT ? "\n" : "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

}  // namespace
}  // namespace tests
