// The words about the commands.

#include <algorithm>

#include "texts.h"

namespace generate {
namespace {

constexpr WordText LOG_LEVEL_WORDS[] = {
    {"level", "log level", "", {}},
};
constexpr Meaning REBALANCE_VALUES[] = {{"default", "the daemon's usual value"}};
constexpr WordText REBALANCE_WORDS[] = {
    {"time-span", "time span in seconds", "86400", REBALANCE_VALUES},
    {"variance-threshold", "variance threshold, 0 to 1", "0.3", REBALANCE_VALUES},
    {"time-threshold", "time threshold in seconds", "1800", REBALANCE_VALUES},
    {"rate-threshold", "rate threshold in MB per hour", "14913081", REBALANCE_VALUES},
};
constexpr Meaning EVENTS[] = {
    {"update", "block updates"},
    {"add", "block additions"},
    {"delete", "block deletions"},
};
constexpr Meaning ENTRIES[] = {
    {"object", "of objects"},
    {"disk", "of disks"},
    {"node", "of nodes"},
};
constexpr WordText CALLBACK_WORDS[] = {
    {"event", "kind of event", "none", EVENTS},
    {"entry", "kind of entry", "none", ENTRIES},
};

constexpr std::string_view UUID_OR_ALL = "Brq Fl u Ar uuid | Fl a";
constexpr std::string_view OPTIONAL_UUID = "Op Fl u Ar uuid";

constexpr std::array<CommandText, trel::COMMAND_COUNT> ROWS = {{
    {1, "o", "Op Fl o Ar file", "", {}, R"(Print the daemon's statistics.)"},
    {2, "ua", UUID_OR_ALL, "", {}, R"(Queue a crawler run on the object.)"},
    {3, "", "", "Print the fitness configuration", {}, R"(Print the fitness configuration.)"},
    {4,
     "j",
     "Fl j Ar json",
     "Set the fitness configuration",
     {},
     R"(Set the fitness configuration.)"},
    {5, "", "", "Reset the fitness configuration", {}, R"(Reset the fitness configuration.)"},
    {6, "", "", "", {}, R"(Print the current fitness statistics of each disk.)"},
    {7, "", "Ar level", "", LOG_LEVEL_WORDS,
     R"(Set the daemon's log level.
The word is sent as typed; without one, the client's own name is sent.
Give all other options by their letters here: see
.Sx CAVEATS .)"},
    {8,
     "u",
     OPTIONAL_UUID,
     "",
     {},
     R"(Fix the absent and degraded components in the object immediately.)"},
    {9,
     "u",
     OPTIONAL_UUID,
     "Print the last operation on an object",
     {},
     R"(Print the last operation on the object.)"},
    {10, "",
     "Oo Ar time-span Oo Ar variance-threshold Oo Ar time-threshold Oo Ar rate-threshold Oc Oc Oc "
     "Oc",
     "", REBALANCE_WORDS,
     R"(Start the proactive rebalance.
A word that is no number, such as
.Cm default ,
keeps the value that holds without it.
Words behind the fourth are ignored.)"},
    {11, "", "", "", {}, R"(Stop the proactive rebalance.)"},
    {12, "", "", "", {}, R"(Print information about the proactive rebalance.)"},
    {13, "", "", "", {}, R"(Fix the concats of all objects that this node owns now.)"},
    {14, "ua", UUID_OR_ALL, "", {}, R"(Print information about the rebalance of the disk.)"},
    {15,
     "u",
     OPTIONAL_UUID,
     "",
     {},
     R"(Print the resources that fixing the unhealthy objects takes.)"},
    {16,
     "uade",
     "Bro Fl u Ar uuid | Fl a Brc Oo Fl d Ar number Oc Op Fl e",
     "",
     {},
     R"(Print the resources that decommissioning the entity takes.)"},
    {17,
     "luwdr",
     "Fl l Ar uuid,uuid Oo Fl d Ar number Oc Oo Fl r Ar number Oc Oo Fl u Ar uuid Oc Op Fl w",
     "",
     {},
     R"(Print the resources that upgrading the hosts or disks of the list takes.)"},
    {18, "", "", "", {}, R"(Cancel the what-if operation that is going on.)"},
    {19,
     "uf",
     "Oo Fl u Ar uuid Oc Op Fl f Ar file",
     "",
     {},
     R"(Apply the new object configuration to the object by force.)"},
    {20,
     "f",
     "Op Fl f Ar file",
     "",
     {},
     R"(Update nodes, disks and KOR objects in the daemon's database.
Without
.Fl f
an empty path is sent.)"},
    {21,
     "f",
     "Op Fl f Ar file",
     "",
     {},
     R"(Update nodes, disks and KOR objects in the daemon's database and
delete those that are not present.
Without
.Fl f
an empty path is sent.)"},
    {22,
     "mu",
     "Brq Fl m Ar number | Fl u Ar uuid",
     "",
     {},
     R"(Put the daemon in recovery mode.
At least one of
.Fl m
and
.Fl u
is needed.)"},
    {23,
     "ua",
     UUID_OR_ALL,
     "Print the decommissioning state of an object",
     {},
     R"(Print the decommissioning state of the object.)"},
    {24, "i", "Fl i Ar name", "", {}, R"(Enable work items of the type.)"},
    {25, "i", "Fl i Ar name", "", {}, R"(Disable work items of the type.)"},
    {26,
     "uao",
     "Bro Fl u Ar uuid | Fl a Brc Op Fl o Ar file",
     "",
     {},
     R"(Print the crawler state of the object or, with
.Fl a ,
those of all objects that this node owns.)"},
    {27, "", "", "", {}, R"(Pause the progress of the decommissioning state machine.)"},
    {28, "", "", "", {}, R"(Resume the progress of the decommissioning state machine.)"},
    {29,
     "",
     "",
     "",
     {},
     R"(Start the heartbeat of the state in the decommissioning state machine.)"},
    {30, "", "", "", {}, R"(Pause the daemon just before it processes a failed delta entry.)"},
    {31, "u", "Oo Cm update | add | delete Oc Oo Cm object | disk | node Oc Op Fl u Ar uuid", "",
     CALLBACK_WORDS,
     R"(Block certain callbacks of the cluster database, for tests.
The words may come in any order; a later one of the same kind counts,
and any other word is ignored.
Without any word behind the command word, all words of the command line,
arguments of options included, are searched for these six.)"},
    {32, "", "", "", {}, R"(Make the daemon read its advanced configuration options again.)"},
    {33,
     "unx",
     "Fl u Ar uuid Brq Fl n Ar uuid,uuid | Fl x Ar uuid,uuid",
     "",
     {},
     R"(Move the component to one of the destinations, or anywhere but to the
exclusions.
Exactly one of the two lists is taken, and it must not be empty.)"},
    {34,
     "xX",
     "Fl x Ar uuid,uuid Op Fl X Ar number",
     "",
     {},
     R"(Set the global exclusion list: no new component goes to what it names,
within the bounds of
.Fl X .
An empty list
.Pq Fl x Qq
is accepted.)"},
    {35, "", "", "", {}, R"(Print information about the owner rebalance.)"},
    {36, "u", OPTIONAL_UUID, "", {}, R"(Set the UUID of the preferred fault domain.)"},
    {37, "u", OPTIONAL_UUID, "", {}, R"(Set the UUID of the fault domain that is not preferred.)"},
}};

/// Whether an option has this letter and is not one that all commands take. (Not by
/// std::string_view::find, which is no constant to g++ 12 under a sanitizer.)
consteval bool IsOwnOption(char letter) {
  const bool isCommon =
      std::ranges::any_of(COMMON_OPTIONS, [letter](const char common) { return common == letter; });
  return !isCommon && std::ranges::any_of(trel::LONG_OPTIONS, [letter](const option& entry) {
    return entry.name != nullptr && entry.val == letter;
  });
}

consteval bool RowsAreComplete() {
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    if (ROWS[row].code != row + 1 || ROWS[row].manual.empty()) {
      return false;
    }
    for (const char letter : ROWS[row].options) {
      if (!IsOwnOption(letter)) {
        return false;
      }
    }
  }
  return true;
}
static_assert(RowsAreComplete());

}  // namespace

constinit const std::array<CommandText, trel::COMMAND_COUNT> COMMAND_TEXTS = ROWS;

std::string_view SummaryOf(const trel::CommandSpec& command) {
  if (command.helpDescription == nullptr) {
    return COMMAND_TEXTS[command.code - 1].summary;
  }
  const std::string_view text = command.helpDescription;
  const std::size_t end = text.find(". ");
  if (end != std::string_view::npos) {
    return text.substr(0, end);
  }
  return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

}  // namespace generate
