// One command line for each of the 37 commands, and what the stand-in makes of it.

#ifndef TESTS_SUPPORT_ALL_COMMANDS_H
#define TESTS_SUPPORT_ALL_COMMANDS_H

#include <string>
#include <vector>

namespace tests {

struct CommandCase {
  unsigned code;
  std::vector<std::string> words;  ///< the command word first
  std::string fields;              ///< decoded, as the text of a JSON object
};

inline const std::vector<CommandCase>& AllCommandCases() {
  static const std::string UUID = "00112233-4455-6677-8899-aabbccddeeff";
  static const std::string OTHER = "10213243-5465-7687-98a9-bacbdcedfe0f";
  static const std::string UUID_FIELD = R"({"uuid":")" + UUID + R"("})";
  static const std::vector<CommandCase> CASES = {
      {1, {"stats"}, "{}"},
      {2, {"crawler", "-u", UUID}, UUID_FIELD},
      {3, {"fitness-config-get"}, "{}"},
      {4, {"fitness-config-set", "-j", R"({"a":1})"}, R"({"json":"{\"a\":1}"})"},
      {5, {"fitness-config-reset"}, "{}"},
      {6, {"fitness-stats-get"}, "{}"},
      {7, {"log-level", "02"}, R"({"level":"02"})"},
      {8, {"fix-object-immediate", "-u", UUID}, UUID_FIELD},
      {9, {"get-object-last-operation", "-u", UUID}, UUID_FIELD},
      {10,
       {"start-proactive-rebalance", "3600", "0.25", "default", "1024"},
       R"({"timeSpan":3600,"varianceThreshold":0.25,"timeThreshold":1800,"rateThreshold":1024})"},
      {11, {"stop-proactive-rebalance"}, "{}"},
      {12, {"info-proactive-rebalance"}, "{}"},
      {13, {"fix-concats"}, "{}"},
      {14, {"info-rebalance", "-u", UUID}, UUID_FIELD},
      {15, {"resources-to-fix-unhealthy-objects", "-u", UUID}, UUID_FIELD},
      {16,
       {"what-if-entity-decom", "-u", UUID, "-d", "2", "-e"},
       R"({"uuid":")" + UUID + R"(","decomMode":2,"ensureDurability":1})"},
      {17,
       {"what-if-upgrade", "-u", UUID, "-d", "1", "-r", "3", "-w", "-l", UUID + "," + OTHER},
       R"({"uuid":")" + UUID + R"(","decomMode":1,"reason":3,"wipeDisk":1,"uuidCount":2,)" +
           R"("uuidList":[")" + UUID + R"(",")" + OTHER + R"("]})"},
      {18, {"what-if-cancel"}, "{}"},
      {19,
       {"force-reconfigure-the-object", "-u", UUID, "-f", "/tmp/object.cfg"},
       R"({"uuid":")" + UUID + R"(","filePath":"/tmp/object.cfg"})"},
      {20, {"update-treldb", "-f", "/tmp/nodes"}, R"({"filePath":"/tmp/nodes"})"},
      {21, {"replace-treldb", "-f", "/tmp/nodes"}, R"({"filePath":"/tmp/nodes"})"},
      {22,
       {"enable-trel-recovery-mode", "-u", UUID, "-m", "3"},
       R"({"uuid":")" + UUID + R"(","recoveryMode":3})"},
      {23, {"get-obj-decom-state", "-u", UUID}, UUID_FIELD},
      {24, {"enable-workitem", "-i", "MOVE"}, R"({"workItem":7,"workItemName":"MOVE"})"},
      {25,
       {"disable-workitem", "-i", "CONCAT_IN_MIDDLE"},
       R"({"workItem":23,"workItemName":"CONCAT_IN_MIDDLE"})"},
      {26, {"get-obj-crawler-state", "-u", UUID}, R"({"uuid":")" + UUID + R"(","all":0})"},
      {27, {"pause-decom-state-progress"}, "{}"},
      {28, {"resume-decom-state-progress"}, "{}"},
      {29, {"start-decom-state-heartbeat"}, "{}"},
      {30, {"pause-failed-delta-entry-processing"}, "{}"},
      {31,
       {"block-cdb-cb", "update", "disk", "-u", UUID},
       R"({"eventType":1,"eventName":"update","entryType":3,"entryName":"disk","uuid":")" + UUID +
           R"("})"},
      {32, {"refresh-config-opts"}, "{}"},
      {33,
       {"component-manual-move", "-u", UUID, "-n", OTHER},
       R"({"uuid":")" + UUID + R"(","destinationCount":1,"exclusionCount":0,"destinationList":[")" +
           OTHER + R"("],"exclusionList":[]})"},
      {34,
       {"set-global-exclusion-list", "-X", "2", "-x", UUID + "," + OTHER},
       R"({"exclusionMode":2,"exclusionCount":2,"exclusionList":[")" + UUID + R"(",")" + OTHER +
           R"("]})"},
      {35, {"info-owner-rebalance"}, "{}"},
      {36, {"set-preferred-fd", "-u", UUID}, UUID_FIELD},
      {37, {"set-nonPreferred-fd", "-u", UUID}, UUID_FIELD},
  };
  return CASES;
}

}  // namespace tests

#endif  // TESTS_SUPPORT_ALL_COMMANDS_H
