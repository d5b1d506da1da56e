// The table of kinds, in the order of their codes.

#include "cli/command_kinds.h"

#include <algorithm>
#include <iterator>

#include "support/bytes.h"

namespace tests {
namespace {

using enum Mode;
using standin::AwaitHangUp;
using standin::HalfClose;
using standin::SendBytes;

const std::string UUID = "01234567-89ab-cdef-0123-456789abcdef";
const char* const UUID_BYTES = "0123456789abcdef 0123456789abcdef";
const std::string NO_UUID = "00000000-0000-0000-0000-000000000000";

template <typename Predicate>
std::vector<CommandKind> KindsThat(Predicate hold) {
  std::vector<CommandKind> kinds;
  std::copy_if(CommandKinds().begin(), CommandKinds().end(), std::back_inserter(kinds), hold);
  return kinds;
}

}  // namespace

const std::vector<CommandKind>& CommandKinds() {
  static const std::vector<CommandKind> kinds = {
      {.name = "EmptyStream",
       .words = {"stats"},
       .mode = STREAM,
       .header = FromHex("00000001 00000000")},
      {.name = "UuidSilent",
       .words = {"crawler", "-a"},
       .mode = SILENT,
       .header = FromHex("00000002 00000024"),
       .payload = NO_UUID},
      {.name = "JsonSilent",
       .words = {"fitness-config-set", "-j", "{}"},
       .mode = SILENT,
       .header = FromHex("00000004 00000003"),
       .payload = FromHex("7b7d00"),
       .copiesText = true},
      {.name = "EmptyPrint",
       .words = {"fitness-stats-get"},
       .mode = PRINT,
       .header = FromHex("00000006 00000000")},
      {.name = "LogLevelSilent",
       .words = {"log-level", "02"},
       .mode = SILENT,
       .header = FromHex("00000007 00000002"),
       .payload = "02"},
      {.name = "RebalanceSilent",
       .words = {"start-proactive-rebalance"},
       .mode = SILENT,
       .header = FromHex("0000000a 00000020"),
       .payload = FromHex("8051010000000000 333333333333d33f 0807000000000000 398ee30000000000")},
      {.name = "UuidPrint",
       .words = {"info-rebalance", "-u", UUID},
       .mode = PRINT,
       .header = FromHex("0000000e 00000024"),
       .payload = UUID},
      {.name = "UuidPrintLongTimeout",
       .words = {"resources-to-fix-unhealthy-objects"},
       .mode = PRINT,
       .header = FromHex("0000000f 00000024"),
       .payload = NO_UUID,
       .timeoutSeconds = 1800},
      {.name = "DecomPrint",
       .words = {"what-if-entity-decom", "-u", UUID, "-d", "2", "-e"},
       .mode = PRINT,
       .header = FromHex("00000010 00000018"),
       .payload = FromHex(UUID_BYTES) + FromHex("02000000 01 000000"),
       .timeoutSeconds = 1800},
      {.name = "UpgradePrint",
       .words = {"what-if-upgrade", "-l", UUID, "-r", "3", "-w"},
       .mode = PRINT,
       .header = FromHex("00000011 00000045"),
       .payload = Zeros(16) + FromHex("00000000 03000000 01 000000 01000000") + UUID + Zeros(1),
       .timeoutSeconds = 7200},
      {.name = "EmptySilent",
       .words = {"what-if-cancel"},
       .mode = SILENT,
       .header = FromHex("00000012 00000000")},
      {.name = "ReconfigureSilent",
       .words = {"force-reconfigure-the-object", "-u", UUID, "-f", "/x"},
       .mode = SILENT,
       .header = FromHex("00000013 00000013"),
       .payload = FromHex(UUID_BYTES) + "/x" + Zeros(1)},
      {.name = "PathSilent",
       .words = {"update-treldb", "-f", "/x"},
       .mode = SILENT,
       .header = FromHex("00000014 00000003"),
       .payload = "/x" + Zeros(1)},
      {.name = "RecoverySilent",
       .words = {"enable-trel-recovery-mode", "-m", "3"},
       .mode = SILENT,
       .header = FromHex("00000016 00000029"),
       .payload = NO_UUID + "3" + Zeros(4)},
      {.name = "WorkItemSilent",
       .words = {"enable-workitem", "-i", "CONCAT_IN_MIDDLE"},
       .mode = SILENT,
       .header = FromHex("00000018 00000004"),
       .payload = "23" + Zeros(2)},
      {.name = "AllFlagPrint",
       .words = {"get-obj-crawler-state", "-u", UUID},
       .mode = PRINT,
       .header = FromHex("0000001a 00000029"),
       .payload = UUID + "0" + Zeros(4)},
      {.name = "AllFlagStream",
       .words = {"get-obj-crawler-state", "-a"},
       .mode = STREAM,
       .header = FromHex("0000001a 00000029"),
       .payload = NO_UUID + "1" + Zeros(4)},
      {.name = "CallbackNone",
       .words = {"block-cdb-cb", "update", "disk"},
       .mode = NONE,
       .header = FromHex("0000001f 00000400"),
       .payload = "1:3:" + NO_UUID + Zeros(984)},
      {.name = "EmptyNone",
       .words = {"refresh-config-opts"},
       .mode = NONE,
       .header = FromHex("00000020 00000000")},
      {.name = "MoveSilent",
       .words = {"component-manual-move", "-u", UUID, "-n", UUID},
       .mode = SILENT,
       .header = FromHex("00000021 0002e418"),
       .payload = FromHex(UUID_BYTES) + FromHex("01000000 00000000") + UUID + Zeros(189404)},
      {.name = "ExclusionSilent",
       .words = {"set-global-exclusion-list", "-x", UUID, "-X", "3"},
       .mode = SILENT,
       .header = FromHex("00000022 00017208"),
       .payload = FromHex("03000000 01000000") + UUID + Zeros(94684),
       .heapRecord = true},
  };
  return kinds;
}

std::vector<CommandKind> KindsWithMode(Mode mode) {
  return KindsThat([mode](const CommandKind& kind) { return kind.mode == mode; });
}

std::vector<CommandKind> FramedKinds() {
  return KindsThat(
      [](const CommandKind& kind) { return kind.mode == PRINT || kind.mode == SILENT; });
}

std::vector<CommandKind> KindsWithPayload() {
  return KindsThat([](const CommandKind& kind) { return !kind.payload.empty(); });
}

std::vector<CommandKind> KindsWithHeapRecord() {
  return KindsThat([](const CommandKind& kind) { return kind.heapRecord; });
}

std::vector<CommandKind> KindsThatCopyText() {
  return KindsThat([](const CommandKind& kind) { return kind.copiesText; });
}

std::vector<standin::Step> AnswerOk(const CommandKind& kind) {
  switch (kind.mode) {
    case STREAM:
      return {SendBytes{"ok"}, HalfClose{}, AwaitHangUp{}};
    case PRINT:
    case SILENT:
      return {SendBytes{FromHex("00000000 00000002") + "ok"}, AwaitHangUp{}};
    case NONE:
      break;
  }
  return {AwaitHangUp{}};
}

std::string OkOutput(const CommandKind& kind) {
  switch (kind.mode) {
    case STREAM:
      return "ok";
    case PRINT:
      return "ok\n";
    case SILENT:
    case NONE:
      break;
  }
  return "";
}

std::string KindName(const testing::TestParamInfo<CommandKind>& test) { return test.param.name; }

void PrintTo(const CommandKind& kind, std::ostream* out) { *out << kind.name; }

}  // namespace tests
