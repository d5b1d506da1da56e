// All 37 commands through the real binary: what it sends, the time-out it has set,
// what it makes of a plain success. Every expected byte is written down here.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/client.h"
#include "support/peer_socket.h"

namespace tests {
namespace {

using standin::Call;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;
using Words = std::vector<std::string>;

const std::string UUID = "01234567-89ab-cdef-fedc-ba9876543210";
const std::string UUID_BYTES = FromHex("01234567 89abcdef fedcba98 76543210");
const std::string NO_UUID = "00000000-0000-0000-0000-000000000000";
const std::string OTHER = "ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb";

enum class Reply { STREAMED, PRINTED, SILENT, NONE };

struct Row {
  std::string name;  ///< of the test
  Words words;
  std::string header;   ///< in hexadecimal
  std::string payload;  ///< as it travels
  int timeout;          ///< seconds
  Reply reply;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.header; }

std::string Filled(const std::string& text, std::size_t size) {
  return text + Zeros(size - text.size());
}

std::vector<Row> Rows() {
  const std::string nul(1, '\0');
  return {
      {"stats", {"stats"}, "00000001 00000000", "", 20, Reply::STREAMED},
      {"crawler", {"crawler", "-u", UUID}, "00000002 00000024", UUID, 20, Reply::SILENT},
      {"fitness_config_get", {"fitness-config-get"}, "00000003 00000000", "", 20, Reply::PRINTED},
      {"fitness_config_set",
       {"fitness-config-set", "-j", "{\"a\":1}"},
       "00000004 00000008",
       "{\"a\":1}" + nul,
       20,
       Reply::SILENT},
      {"fitness_config_reset",
       {"fitness-config-reset"},
       "00000005 00000000",
       "",
       20,
       Reply::SILENT},
      {"fitness_stats_get", {"fitness-stats-get"}, "00000006 00000000", "", 20, Reply::PRINTED},
      {"log_level", {"log-level", "2"}, "00000007 00000001", "2", 20, Reply::SILENT},
      {"fix_object_immediate",
       {"fix-object-immediate", "-u", UUID},
       "00000008 00000024",
       UUID,
       20,
       Reply::SILENT},
      {"get_object_last_operation",
       {"get-object-last-operation", "-u", UUID},
       "00000009 00000024",
       UUID,
       20,
       Reply::PRINTED},
      {"start_proactive_rebalance",
       {"start-proactive-rebalance", "3600", "0.3", "default", "1024"},
       "0000000a 00000020",
       FromHex("100e000000000000 333333333333d33f 0807000000000000 0004000000000000"),
       20,
       Reply::SILENT},
      {"stop_proactive_rebalance",
       {"stop-proactive-rebalance"},
       "0000000b 00000000",
       "",
       20,
       Reply::SILENT},
      {"info_proactive_rebalance",
       {"info-proactive-rebalance"},
       "0000000c 00000000",
       "",
       20,
       Reply::PRINTED},
      {"fix_concats", {"fix-concats"}, "0000000d 00000000", "", 20, Reply::SILENT},
      {"info_rebalance",
       {"info-rebalance", "-u", UUID},
       "0000000e 00000024",
       UUID,
       20,
       Reply::PRINTED},
      {"resources_to_fix_unhealthy_objects",
       {"resources-to-fix-unhealthy-objects"},
       "0000000f 00000024",
       NO_UUID,
       1800,
       Reply::PRINTED},
      {"what_if_entity_decom",
       {"what-if-entity-decom", "-u", UUID, "-d", "2", "-e"},
       "00000010 00000018",
       UUID_BYTES + FromHex("02000000 01 000000"),
       1800,
       Reply::PRINTED},
      {"what_if_upgrade",
       {"what-if-upgrade", "-l", UUID + "," + OTHER, "-u", UUID, "-d", "1", "-r", "3", "-w"},
       "00000011 0000006a",
       UUID_BYTES + FromHex("01000000 03000000 01 000000 02000000") + UUID + "," + OTHER + nul,
       7200,
       Reply::PRINTED},
      {"what_if_cancel", {"what-if-cancel"}, "00000012 00000000", "", 20, Reply::SILENT},
      {"force_reconfigure_the_object",
       {"force-reconfigure-the-object", "-u", UUID, "-f", "/tmp/x"},
       "00000013 00000017",
       UUID_BYTES + "/tmp/x" + nul,
       20,
       Reply::SILENT},
      {"update_treldb",
       {"update-treldb", "-f", "/tmp/x"},
       "00000014 00000007",
       "/tmp/x" + nul,
       20,
       Reply::SILENT},
      {"replace_treldb",
       {"replace-treldb", "-f", "/tmp/x"},
       "00000015 00000007",
       "/tmp/x" + nul,
       20,
       Reply::SILENT},
      {"enable_trel_recovery_mode",
       {"enable-trel-recovery-mode", "-u", UUID, "-m", "3"},
       "00000016 00000029",
       UUID + "3" + Zeros(4),
       20,
       Reply::SILENT},
      {"get_obj_decom_state",
       {"get-obj-decom-state", "-u", UUID},
       "00000017 00000024",
       UUID,
       20,
       Reply::PRINTED},
      {"enable_workitem",
       {"enable-workitem", "-i", "MOVE"},
       "00000018 00000004",
       "7" + Zeros(3),
       20,
       Reply::SILENT},
      {"disable_workitem",
       {"disable-workitem", "-i", "CONCAT_IN_MIDDLE"},
       "00000019 00000004",
       "23" + Zeros(2),
       20,
       Reply::SILENT},
      {"get_obj_crawler_state",
       {"get-obj-crawler-state", "-u", UUID},
       "0000001a 00000029",
       UUID + "0" + Zeros(4),
       20,
       Reply::PRINTED},
      {"pause_decom_state_progress",
       {"pause-decom-state-progress"},
       "0000001b 00000000",
       "",
       20,
       Reply::SILENT},
      {"resume_decom_state_progress",
       {"resume-decom-state-progress"},
       "0000001c 00000000",
       "",
       20,
       Reply::SILENT},
      {"start_decom_state_heartbeat",
       {"start-decom-state-heartbeat"},
       "0000001d 00000000",
       "",
       20,
       Reply::SILENT},
      {"pause_failed_delta_entry_processing",
       {"pause-failed-delta-entry-processing"},
       "0000001e 00000000",
       "",
       20,
       Reply::NONE},
      {"block_cdb_cb",
       {"block-cdb-cb", "update", "disk", "-u", UUID},
       "0000001f 00000400",
       Filled("1:3:" + UUID, 1024),
       20,
       Reply::NONE},
      {"refresh_config_opts", {"refresh-config-opts"}, "00000020 00000000", "", 20, Reply::NONE},
      {"component_manual_move",
       {"component-manual-move", "-u", UUID, "-n", OTHER},
       "00000021 0002e418",
       UUID_BYTES + FromHex("01000000 00000000") + Filled(OTHER, 94720) + Zeros(94720),
       20,
       Reply::SILENT},
      {"set_global_exclusion_list",
       {"set-global-exclusion-list", "-x", UUID + "," + OTHER, "-X", "2"},
       "00000022 00017208",
       FromHex("02000000 02000000") + Filled(UUID + "," + OTHER, 94720),
       20,
       Reply::SILENT},
      {"info_owner_rebalance",
       {"info-owner-rebalance"},
       "00000023 00000000",
       "",
       20,
       Reply::PRINTED},
      {"set_preferred_fd",
       {"set-preferred-fd", "-u", UUID},
       "00000024 00000024",
       UUID,
       20,
       Reply::SILENT},
      {"set_nonPreferred_fd",
       {"set-nonPreferred-fd", "-u", UUID},
       "00000025 00000024",
       UUID,
       20,
       Reply::SILENT},

      // The other faces of some of them.
      {"crawler_of_all_sends_the_zero_uuid",
       {"crawler", "-a"},
       "00000002 00000024",
       NO_UUID,
       20,
       Reply::SILENT},
      {"fix_object_immediate_without_uuid",
       {"fix-object-immediate"},
       "00000008 00000024",
       NO_UUID,
       20,
       Reply::SILENT},
      {"empty_json_is_its_terminator",
       {"fitness-config-set", "--json", ""},
       "00000004 00000001",
       nul,
       20,
       Reply::SILENT},
      {"log_level_as_typed", {"log-level", "02"}, "00000007 00000002", "02", 20, Reply::SILENT},
      {"log_level_without_word_sends_the_programs_name",
       {"log-level"},
       "00000007 00000009",
       "trel-tool",
       20,
       Reply::SILENT},
      {"log_level_with_an_empty_word_sends_a_header_alone",
       {"log-level", ""},
       "00000007 00000000",
       "",
       20,
       Reply::SILENT},
      {"log_level_with_the_longest_word",
       {"log-level", std::string(131071, '7')},
       "00000007 0001ffff",
       std::string(131071, '7'),
       20,
       Reply::SILENT},
      {"rebalance_without_words_sends_the_defaults",
       {"start-proactive-rebalance"},
       "0000000a 00000020",
       FromHex("8051010000000000 333333333333d33f 0807000000000000 398ee30000000000"),
       20,
       Reply::SILENT},
      {"rebalance_ignores_a_fifth_word",
       {"start-proactive-rebalance", "1", "1", "1", "1", "9"},
       "0000000a 00000020",
       FromHex("0100000000000000 000000000000f03f 0100000000000000 0100000000000000"),
       20,
       Reply::SILENT},
      {"what_if_decom_padding_is_zero",
       {"what-if-entity-decom", "-a"},
       "00000010 00000018",
       Zeros(24),
       1800,
       Reply::PRINTED},
      {"reconfigure_without_path",
       {"force-reconfigure-the-object"},
       "00000013 00000011",
       Zeros(17),
       20,
       Reply::SILENT},
      {"reconfigure_with_the_longest_path",
       {"force-reconfigure-the-object", "-f", std::string(4096, 'p')},
       "00000013 00001011",
       Zeros(16) + std::string(4096, 'p') + nul,
       20,
       Reply::SILENT},
      {"update_treldb_without_path",
       {"update-treldb"},
       "00000014 00000001",
       nul,
       20,
       Reply::SILENT},
      {"a_shorter_later_path_keeps_the_tail",
       {"update-treldb", "-f", "/tmp/abcdef", "-f", "/x"},
       "00000014 0000000c",
       "/xmp/abcdef" + nul,
       20,
       Reply::SILENT},
      {"recovery_by_uuid_alone",
       {"enable-trel-recovery-mode", "-u", UUID},
       "00000016 00000029",
       UUID + "0" + Zeros(4),
       20,
       Reply::SILENT},
      {"crawler_state_of_all_is_streamed",
       {"get-obj-crawler-state", "-a"},
       "0000001a 00000029",
       NO_UUID + "1" + Zeros(4),
       20,
       Reply::STREAMED},
      {"callback_without_words",
       {"block-cdb-cb"},
       "0000001f 00000400",
       Filled("0:0:" + NO_UUID, 1024),
       20,
       Reply::NONE},
      {"callback_without_words_reads_option_values",
       {"block-cdb-cb", "-o", "delete"},
       "0000001f 00000400",
       Filled("3:0:" + NO_UUID, 1024),
       20,
       Reply::NONE},
      {"callback_of_an_object",
       {"block-cdb-cb", "object"},
       "0000001f 00000400",
       Filled("0:2:" + NO_UUID, 1024),
       20,
       Reply::NONE},
      {"callback_counts_the_last_word_of_a_group",
       {"block-cdb-cb", "add", "node", "delete"},
       "0000001f 00000400",
       Filled("3:4:" + NO_UUID, 1024),
       20,
       Reply::NONE},
      {"callback_ignores_unknown_words",
       {"block-cdb-cb", "UPDATE", "nodes"},
       "0000001f 00000400",
       Filled("0:0:" + NO_UUID, 1024),
       20,
       Reply::NONE},
      {"empty_exclusion_list",
       {"set-global-exclusion-list", "-x", ""},
       "00000022 00017208",
       Zeros(94728),
       20,
       Reply::SILENT},
      {"manual_move_by_exclusion",
       {"component-manual-move", "-u", UUID, "-x", UUID + "," + OTHER},
       "00000021 0002e418",
       UUID_BYTES + FromHex("00000000 02000000") + Zeros(94720) + Filled(UUID + "," + OTHER, 94720),
       20,
       Reply::SILENT},
      {"stats_ignores_extra_words",
       {"stats", "extra", "words"},
       "00000001 00000000",
       "",
       20,
       Reply::STREAMED},
      {"options_before_the_command",
       {"-u", UUID, "crawler"},
       "00000002 00000024",
       UUID,
       20,
       Reply::SILENT},
      {"a_timeout_changes_nothing",
       {"-t", "1", "fix-concats"},
       "0000000d 00000000",
       "",
       20,
       Reply::SILENT},
  };
}

class Command : public testing::TestWithParam<Row> {};

INSTANTIATE_TEST_SUITE_P(All, Command, testing::ValuesIn(Rows()),
                         [](const auto& row) { return row.param.name; });

TEST_P(Command, SendsItsBytesAndPrintsWhatItsModePrints) {
  const Row& row = GetParam();
  timeval timeout{};
  std::vector<Step> steps = {ReadRequest{}};
  if (row.reply != Reply::NONE) {
    // A client that reads no reply is gone before anybody can look at its socket.
    steps.emplace_back(Call{[&](int fd) { timeout = ReceiveTimeoutOfPeer(fd); }});
  }
  std::string out;
  switch (row.reply) {
    case Reply::STREAMED:
      steps.emplace_back(SendBytes{"streamed text\n"});
      out = "streamed text\n";
      break;
    case Reply::PRINTED:
      steps.emplace_back(SendBytes{FromHex("00000000 00000004") + "text"});
      out = "text\n";
      break;
    case Reply::SILENT:
      steps.emplace_back(SendBytes{FromHex("00000000 00000004") + "text"});
      break;
    case Reply::NONE:
      break;
  }
  const ClientResult run = RunClientAgainst({.words = row.words, .steps = steps});
  EXPECT_TRUE(SameBytes(FromHex(row.header) + row.payload, run.request));
  EXPECT_EQ(timeout.tv_sec, row.reply != Reply::NONE ? row.timeout : 0);
  EXPECT_EQ(timeout.tv_usec, 0);
  EXPECT_EQ(run.out, out);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

}  // namespace
}  // namespace tests
