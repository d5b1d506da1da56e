// The words about the options.

#include <stdexcept>

#include "texts.h"

namespace generate {
namespace {

constexpr Meaning DECOM_MODES[] = {
    {"0", "no action"},
    {"1", "ensure access"},
    {"2", "evacuate all data"},
};
constexpr Meaning REASONS[] = {
    {"0", "none"},
    {"1", "disable dedup"},
    {"2", "enable encryption"},
    {"3", "disable dedup and enforce encryption"},
};
constexpr Meaning RECOVERY_MODES[] = {
    {"1", "REPAIR"}, {"2", "REBALANCE"}, {"3", "COMPLIANCE"},        {"4", "POLICY"},
    {"5", "CONCAT"}, {"6", "DELTA"},     {"7", "ALL, except DELTA"},
};
constexpr Meaning EXCLUSION_MODES[] = {
    {"0", "for all new components"},
    {"1", "not for witnesses"},
    {"2", "not for new object placements"},
    {"3", "neither for witnesses nor for new object placements"},
};

constexpr std::array<OptionText, trel::OPTION_COUNT> ROWS = {{
    {'h',
     ValueKind::NONE,
     "",
     "print the help text and end",
     {},
     R"(Print the help text to standard output and end at once with the exit value 0.
Options before it have been checked by then; what stands behind it is not.)"},
    {'o',
     ValueKind::FILE_PATH,
     "file",
     "write a streamed reply to a file",
     {},
     R"(Write the reply to
.Ar file
instead of standard output.
Only a streamed reply goes there;
.Ic get-obj-crawler-state
has one with
.Fl a
alone.
The file is created or truncated after the request has been sent.
If it cannot be opened, nothing is printed and the exit value is the
.Va errno
value of the failure.)"},
    {'s',
     ValueKind::SOCKET_PATH,
     "path",
     "socket of the daemon",
     {},
     R"(Connect to the daemon's socket at
.Ar path
instead of
.Pa /var/run/treld.uds .
Of a longer path only the first 107 bytes are used.)"},
    {'t',
     ValueKind::NUMBER,
     "number",
     "accepted, has no effect",
     {},
     R"(No effect, whatever the help text promises: the number is read and forgotten.
The time-outs are those stated at each command.)"},
    {'u',
     ValueKind::UUID,
     "uuid",
     "UUID of the object, disk or other entity",
     {},
     R"(The object, disk or other entity that the command is about,
as 32 hexadecimal digits in the grouping 8-4-4-4-12.
A text cut after its third group is accepted and the missing bytes are zero,
or those of an earlier
.Fl u .
What follows a whole UUID is ignored.
A command that takes this option and is run without it sends the UUID
that is all zero, unless it insists on it.)"},
    {'l',
     ValueKind::UUID_LIST,
     "uuid,uuid",
     "UUIDs of the hosts or disks, joined by commas",
     {},
     R"(Up to 2560 UUIDs of 36 characters each, joined by commas, without blanks.
Only the length of the text is checked, never its characters.
An empty list is refused.
A list with more entries ends the client by
.Dv SIGABRT ,
without a message.)"},
    {'j',
     ValueKind::JSON,
     "json",
     "JSON object with the fitness configuration",
     {},
     R"(The fitness configuration as one JSON object.
The text is sent as it stands and not checked; an empty one counts as given.)"},
    {'f',
     ValueKind::FILE_PATH,
     "file",
     "file that the daemon is to read",
     {},
     R"(Path, of at most 4096 bytes, of a file that the daemon is to read.
The path is sent as it stands: the client neither opens the file nor
makes the path absolute.
A second
.Fl f
overwrites only as many characters as it has, so that the rest of a longer
first one stays behind it.)"},
    {'d', ValueKind::NUMBER, "number", "decommissioning mode", DECOM_MODES,
     R"(The decommissioning mode.
Any number is accepted; 0 is what is sent without this option.)"},
    {'e',
     ValueKind::NONE,
     "",
     "ensure durability in an ensure-access decommissioning",
     {},
     R"(Ensure the durability of data in a decommissioning that ensures access.)"},
    {'r', ValueKind::NUMBER, "number", "reason of the upgrade", REASONS,
     R"(The reason of the upgrade.
Any number is accepted; 0 is what is sent without this option.)"},
    {'i',
     ValueKind::NAME,
     "name",
     "work-item type",
     {},
     R"(The work-item type, by one of the following names in exactly this spelling.
The number is the one that the daemon is sent.)"},
    {'m', ValueKind::NUMBER, "number", "recovery mode", RECOVERY_MODES,
     R"(The recovery mode, from 0 to 7.
The mode 0 is accepted and has no name.)"},
    {'w',
     ValueKind::NONE,
     "",
     "wipe the disks in the upgrade",
     {},
     R"(Let the upgrade wipe the disks.)"},
    {'a',
     ValueKind::NONE,
     "",
     "all objects that this node owns",
     {},
     R"(All objects that this node owns.
Only
.Ic get-obj-crawler-state
does so.
Elsewhere this option merely takes the place of
.Fl u ,
and the UUID that is all zero is sent.)"},
    {'n',
     ValueKind::UUID_LIST,
     "uuid,uuid",
     "UUIDs of the destinations, joined by commas",
     {},
     R"(The disks, disk groups, hosts or fault domains to move to:
up to 2559 UUIDs of 36 characters each, joined by commas, without blanks.
Only the length of the text is checked.)"},
    {'x',
     ValueKind::UUID_LIST,
     "uuid,uuid",
     "UUIDs of what is excluded, joined by commas",
     {},
     R"(The disks, disk groups, hosts or fault domains to keep away from,
in the form that
.Fl n
has.
An empty list is accepted where the command says so.)"},
    {'X', ValueKind::NUMBER, "number", "where the exclusion list holds", EXCLUSION_MODES,
     R"(Where the exclusion list holds, from 0 to 3; 0 without this option.)"},
}};

consteval bool RowsFollowTheOptionTable() {
  for (std::size_t row = 0; row < ROWS.size(); ++row) {
    const bool takesValue = trel::LONG_OPTIONS[row].has_arg == required_argument;
    if (ROWS[row].letter != trel::LONG_OPTIONS[row].val ||
        (ROWS[row].kind != ValueKind::NONE) != takesValue ||
        ROWS[row].argument.empty() == takesValue || ROWS[row].summary.empty() ||
        ROWS[row].manual.empty()) {
      return false;
    }
  }
  return true;
}
static_assert(RowsFollowTheOptionTable());

}  // namespace

constinit const std::array<OptionText, trel::OPTION_COUNT> OPTION_TEXTS = ROWS;

const OptionText& TextOfOption(char letter) {
  for (const OptionText& row : OPTION_TEXTS) {
    if (row.letter == letter) {
      return row;
    }
  }
  throw std::out_of_range(std::string("no option has the letter ") + letter);
}

}  // namespace generate
