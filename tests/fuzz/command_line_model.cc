// Options, command word and argument rules of the model.

#include "fuzz/command_line_model.h"

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>

namespace fuzz {
namespace {

using namespace std::string_literals;

struct Rule {
  std::string_view word;
  char needs;  ///< see Unmet
  char reply;
  long timeoutSeconds;
};

// In the order of the codes, 1 first.
constexpr Rule RULES[] = {
    {"stats", '-', 's', 20},
    {"crawler", 'u', 'q', 20},
    {"fitness-config-get", '-', 'p', 20},
    {"fitness-config-set", 'j', 'q', 20},
    {"fitness-config-reset", '-', 'q', 20},
    {"fitness-stats-get", '-', 'p', 20},
    {"log-level", 'g', 'q', 20},
    {"fix-object-immediate", '-', 'q', 20},
    {"get-object-last-operation", '-', 'p', 20},
    {"start-proactive-rebalance", '-', 'q', 20},
    {"stop-proactive-rebalance", '-', 'q', 20},
    {"info-proactive-rebalance", '-', 'p', 20},
    {"fix-concats", '-', 'q', 20},
    {"info-rebalance", 'u', 'p', 20},
    {"resources-to-fix-unhealthy-objects", '-', 'p', 1800},
    {"what-if-entity-decom", 'u', 'p', 1800},
    {"what-if-upgrade", 'l', 'p', 7200},
    {"what-if-cancel", '-', 'q', 20},
    {"force-reconfigure-the-object", '-', 'q', 20},
    {"update-treldb", '-', 'q', 20},
    {"replace-treldb", '-', 'q', 20},
    {"enable-trel-recovery-mode", 'm', 'q', 20},
    {"get-obj-decom-state", 'u', 'p', 20},
    {"enable-workitem", 'i', 'q', 20},
    {"disable-workitem", 'i', 'q', 20},
    {"get-obj-crawler-state", 'u', 'p', 20},
    {"pause-decom-state-progress", '-', 'q', 20},
    {"resume-decom-state-progress", '-', 'q', 20},
    {"start-decom-state-heartbeat", '-', 'q', 20},
    {"pause-failed-delta-entry-processing", '-', 'n', 20},
    {"block-cdb-cb", 'c', 'n', 20},
    {"refresh-config-opts", '-', 'n', 20},
    {"component-manual-move", 'v', 'q', 20},
    {"set-global-exclusion-list", 'x', 'q', 20},
    {"info-owner-rebalance", '-', 'p', 20},
    {"set-preferred-fd", '-', 'q', 20},
    {"set-nonPreferred-fd", '-', 'q', 20},
};
static_assert(std::size(RULES) == 37);

// By number; no type has the numbers 0 and 4.
constexpr std::string_view WORK_ITEMS[] = {"",
                                           "PLACEMENT",
                                           "DECOM_CLEANUP",
                                           "CLEANUP",
                                           "",
                                           "VOTES_REBALANCE",
                                           "FIX_FD_IDS",
                                           "MOVE",
                                           "REACTIVE_REBALANCE",
                                           "DECOM",
                                           "FORCE_REPAIR",
                                           "FORCE_RECONFIGURE",
                                           "RECOVERY",
                                           "REPAIR",
                                           "CHANGE",
                                           "CHANGE_PENDING",
                                           "COMPLIANCE",
                                           "CONCAT",
                                           "PROACTIVE_REBALANCE",
                                           "DELTA_DECOM",
                                           "FORMAT_CHANGE",
                                           "UNPLANNED_DELTA",
                                           "MANUAL_MOVE",
                                           "CONCAT_IN_MIDDLE"};
static_assert(std::size(WORK_ITEMS) == 24);

constexpr option LONG_NAMES[] = {{"help", 0, nullptr, 'h'},
                                 {"output-path", 1, nullptr, 'o'},
                                 {"socket-path", 1, nullptr, 's'},
                                 {"timeout", 1, nullptr, 't'},
                                 {"uuid", 1, nullptr, 'u'},
                                 {"uuid-list", 1, nullptr, 'l'},
                                 {"json", 1, nullptr, 'j'},
                                 {"file-path", 1, nullptr, 'f'},
                                 {"decom-mode", 1, nullptr, 'd'},
                                 {"ensure-durability", 0, nullptr, 'e'},
                                 {"reason", 1, nullptr, 'r'},
                                 {"work-item", 1, nullptr, 'i'},
                                 {"recovery-mode", 1, nullptr, 'm'},
                                 {"wipe-disk", 0, nullptr, 'w'},
                                 {"all", 0, nullptr, 'a'},
                                 {"destination-list", 1, nullptr, 'n'},
                                 {"exclusion-list", 1, nullptr, 'x'},
                                 {"exclusion-mode", 1, nullptr, 'X'},
                                 {nullptr, 0, nullptr, 0}};

constexpr std::size_t MOST_LISTED_ENTRIES = 2560;

/// The number in `text` by its own arithmetic; nothing if it is beyond 64 bits.
std::optional<std::uint32_t> Number(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
  text.remove_prefix(start);
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  unsigned __int128 value = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') {
      break;
    }
    value = value * 10 + static_cast<unsigned>(digit - '0');
    if (value > UINT64_MAX) {
      return std::nullopt;
    }
  }
  const auto low = static_cast<std::uint32_t>(value);
  return negative ? 0U - low : low;
}

/// All state that only reading needs.
struct Reader {
  Reading reading = {};
  bool uuidGiven = false;
  bool uuidListGiven = false;
  bool destinationsGiven = false;
  bool exclusionsGiven = false;
  int recoveryTargets = 0;
  int place = 1;

  /// Each returns the diagnostic, or nothing if all is well.
  using Refusal = std::optional<std::string>;

  static Refusal Keep(std::uint32_t& field, const char* text, const char* what) {
    const std::optional<std::uint32_t> number = Number(text);
    if (!number) {
      return "Failed to parse "s + what + ": " + text + "\n";
    }
    field = *number;
    return std::nullopt;
  }

  Refusal Uuid(const char* text) {
    std::array<unsigned char, 16>& u = reading.uuid;
    // The count decides: NOLINTNEXTLINE(cert-err34-c)
    const int count = std::sscanf(
        text,
        "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx"
        "%02hhx%02hhx",
        u.data(), &u[1], &u[2], &u[3], &u[4], &u[5], &u[6], &u[7], &u[8], &u[9], &u[10], &u[11],
        &u[12], &u[13], &u[14], &u[15]);
    if (count < 8) {
      return "Failed to parse UUID: "s + text + ", length=" + std::to_string(count) + "\n";
    }
    uuidGiven = true;
    ++recoveryTargets;
    return std::nullopt;
  }

  static Refusal MoveList(std::string_view text, std::string_view& list, bool& given,
                          const char* name) {
    if (!text.empty() && text.size() % 37 != 36) {
      return "Invalid UUID: "s.append(text) + "\n";
    }
    if (text.size() > 37 * (MOST_LISTED_ENTRIES - 1) - 1) {
      return name + " list is longer than max limit\n"s;
    }
    list = text;
    given = true;
    return std::nullopt;
  }

  Refusal UuidListOption(std::string_view text) {
    if (text.size() % 37 != 36) {
      return "Invalid UUID: "s.append(text) + "\n";
    }
    if (text.size() > 37 * MOST_LISTED_ENTRIES - 1) {
      reading.fate = Fate::ABORTED;
      return "";
    }
    reading.uuidList = text;
    uuidListGiven = true;
    return std::nullopt;
  }

  Refusal FilePath(std::string_view text) {
    if (text.size() > 4096) {
      return "File path is longer than the max path length";
    }
    // What a longer path of an earlier -f had after this one stays.
    reading.filePath.replace(0, std::min(text.size(), reading.filePath.size()), text);
    return std::nullopt;
  }

  Refusal WorkItem(std::string_view text) {
    const auto* name = std::find(std::begin(WORK_ITEMS), std::end(WORK_ITEMS), text);
    if (text.empty() || name == std::end(WORK_ITEMS)) {
      return "Invalid work-item type name: "s.append(text) + "\n";
    }
    reading.workItem = static_cast<std::uint32_t>(name - std::begin(WORK_ITEMS));
    return std::nullopt;
  }

  Refusal RecoveryMode(const char* text) {
    const std::optional<std::uint32_t> mode = Number(text);
    if (mode.value_or(8) > 7) {
      return "Failed to parse recoveryMode: "s + text + "\n";
    }
    reading.recoveryMode = *mode;
    ++recoveryTargets;
    return std::nullopt;
  }

  Refusal ExclusionMode(const char* text) {
    Refusal refusal = Keep(reading.exclusionMode, text, "exclusion mode");
    if (!refusal && reading.exclusionMode > 3) {
      refusal = "Invalid exclusion mode: " +
                std::to_string(static_cast<std::int32_t>(reading.exclusionMode)) + "\n";
    }
    return refusal;
  }

  Refusal Option(int letter, const char* text) {
    std::uint32_t dropped = 0;
    switch (letter) {
      case 'h':
        reading.fate = Fate::HELP;
        return "";
      case 'o':
        reading.outputPath = text;
        return std::nullopt;
      case 's':
        reading.socketPath = text;
        return std::nullopt;
      case 't':
        return Keep(dropped, text, "wait timeout");
      case 'u':
        return Uuid(text);
      case 'l':
        return UuidListOption(text);
      case 'j':
        reading.json = text;
        ++reading.jsonCopies;
        return std::nullopt;
      case 'f':
        return FilePath(text);
      case 'd':
        return Keep(reading.decomMode, text, "decomMode");
      case 'e':
        reading.durable = true;
        return std::nullopt;
      case 'r':
        return Keep(reading.reason, text, "reason");
      case 'i':
        return WorkItem(text);
      case 'm':
        return RecoveryMode(text);
      case 'w':
        reading.wipe = true;
        return std::nullopt;
      case 'a':
        reading.all = true;
        return std::nullopt;
      case 'n':
        return MoveList(text, reading.destinations, destinationsGiven, "Destination");
      case 'x':
        return MoveList(text, reading.exclusions, exclusionsGiven, "Exclusion");
      case 'X':
        return ExclusionMode(text);
      default:
        return "";  // the library has said what it is
    }
  }

  [[nodiscard]] std::size_t WordCount() const { return reading.words.size() - 1; }

  /// Whether the word in the place of the last long option is there and is not
  /// the number that has all 64 bits set or is cut to it.
  [[nodiscard]] bool WordInPlace() const {
    const auto index = static_cast<std::size_t>(place);
    return index < WordCount() && std::strtoul(reading.words[index], nullptr, 10) != ~0UL;
  }

  [[nodiscard]] Refusal Unmet(char needs) const {
    const auto unless = [](bool met, const char* text) { return met ? Refusal() : Refusal(text); };
    switch (needs) {
      case 'u':
        return unless(uuidGiven || reading.all, "UUID must be provided (specify with --uuid)\n");
      case 'l':
        return unless(uuidListGiven,
                      "UUID's must be provided, separated by comma (specify with --uuid-list)\n");
      case 'j':
        return unless(reading.jsonCopies != 0,
                      "Fitness config must be provided (specify with --json <json object>)\n");
      case 'g':
        return unless(WordInPlace(), "Log level must be specified. E.g.: trel-tool log-level 2\n");
      case 'c':
        return unless(WordInPlace(), "Callback entry and event type must be provided.\n");
      case 'm':
        return unless(recoveryTargets > 0,
                      "Either recovery mode(specify with -m/--recovery-Mode) or uuid(specify with "
                      "-u/--uuid) must be provided\n");
      case 'i':
        return unless(reading.workItem != 0,
                      "work-item type must be provided (specify with -i/--work-item)\n");
      case 'x':
        return unless(exclusionsGiven,
                      "Exclusion list must be provided (specify with -x/--exclusion-list)");
      case 'v':
        if (!uuidGiven) {
          return "UUID must be provided (specify with --uuid)\n";
        }
        if (destinationsGiven == exclusionsGiven) {
          return "Either destination list(specify with -n/--destination-list) or exclusion list "
                 "(specify with -x/--exclusion-list) should be provided \n";
        }
        return unless(!reading.destinations.empty() || !reading.exclusions.empty(),
                      "Empty destination or exclusion list not allowed.");
      default:
        return std::nullopt;
    }
  }

  Refusal Command(int wordIndex) {
    const auto count = static_cast<int>(WordCount());
    if (wordIndex == count) {
      return "Command string missing\n";
    }
    const std::string_view word = reading.words[static_cast<std::size_t>(wordIndex)];
    const auto* rule = std::find_if(std::begin(RULES), std::end(RULES),
                                    [&](const Rule& row) { return row.word == word; });
    if (rule == std::end(RULES)) {
      return "Unrecognized command: "s.append(word) + "\n";
    }
    reading.code = static_cast<std::uint32_t>(rule - std::begin(RULES)) + 1;
    reading.reply = reading.code == 26 && reading.all ? 's' : rule->reply;
    reading.timeoutSeconds = rule->timeoutSeconds;
    reading.argumentIndex = count > wordIndex + 1 ? wordIndex + 1 : 0;
    return Unmet(rule->needs);
  }

  Refusal Read() {
    const auto count = static_cast<int>(WordCount());
    if (count < 2) {
      return "";
    }
    optind = 0;  // the library starts anew
    for (;;) {
      const int letter = getopt_long(count, reading.words.data(),
                                     "ho:s:t:u:l:j:f:d:r:n:x:X:i:m:wae", LONG_NAMES, &place);
      if (letter == -1) {
        break;
      }
      Refusal refusal = Option(letter, optarg != nullptr ? optarg : "");
      if (refusal) {
        return refusal;
      }
    }
    return Command(optind);
  }
};

}  // namespace

Reading ReadWords(const std::vector<char*>& words) {
  Reader reader;
  Reading& reading = reader.reading;
  reading.words = words;
  reading.words.push_back(nullptr);
  Reader::Refusal refusal = reader.Read();
  if (refusal && reading.fate == Fate::EXCHANGED) {
    reading.fate = Fate::REFUSED;
  }
  reading.diagnostic = std::move(refusal).value_or("");
  return std::move(reading);
}

}  // namespace fuzz
