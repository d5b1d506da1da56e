// The contract between client and daemon, as protocol/ states it: commands, options, payloads,
// examples. It is compiled into the program from generated/contract.json; nothing is read at run
// time. The client does not use it: its own tables state the same facts independently.

#ifndef STANDIN_CONTRACT_CONTRACT_H
#define STANDIN_CONTRACT_CONTRACT_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace contract {

enum class ReplyMode {
  STREAM,  ///< bytes without a frame, until the daemon closes the connection
  PRINT,   ///< a frame whose payload the client prints
  SILENT,  ///< a frame of which the client reports only an error status
  NONE,    ///< the client reads nothing
};

/// How the bytes of a field are read. Numbers are in the host's byte order.
enum class FieldType {
  UUID_BYTES,  ///< 16 bytes in the order of the digits
  UUID_TEXT,   ///< 36 characters, no terminator
  U8,
  U32,
  U64,
  F64,        ///< IEEE 754 binary64
  CHARS,      ///< text to the end of the payload, no terminator
  TEXT,       ///< text to the end of the payload, whose last byte is the terminator
  JSON,       ///< like TEXT, and the text is JSON
  LIST,       ///< like TEXT, and the text is a UUID list
  LIST_AREA,  ///< a UUID list and zeros to the end of the field
  DIGITS,     ///< decimal digits and a terminator; the rest of the field is unset
  NAME,       ///< no bytes: the name of the number in another field
  RESERVED,   ///< bytes without a meaning; this client sends zero
};

/// What a field is in JSON.
enum class ValueKind { TEXT, NATURAL, NUMBER, LIST };

struct NamedNumber {
  std::string name;
  std::uint64_t number;
};

/// A set of names, each with its number on the connection.
struct Names {
  std::string name;
  std::vector<NamedNumber> numbers;

  /// The name of `number`, empty if it has none.
  [[nodiscard]] std::string_view NameOf(std::uint64_t number) const;
};

struct Field {
  std::string name;
  FieldType type;
  ValueKind value;
  std::size_t offset;       ///< bytes from the beginning of the payload; 0 for a NAME
  std::size_t width;        ///< bytes; 0: to the end of the payload, or a NAME
  std::optional<int> part;  ///< the bytes hold a text whose parts a colon separates: which, from 0
  std::string of;           ///< of a NAME: the field that holds its number
  const Names* names;       ///< of a NAME: the names; else null
  std::string counts;       ///< the list whose entries this number counts, or empty
};

struct Payload {
  std::string name;
  std::size_t least;                ///< bytes that the client sends at least
  std::optional<std::size_t> most;  ///< without: what the system passes as one argument
  std::vector<Field> fields;        ///< in the order in which logs show them

  /// Null if there is no field of this name.
  [[nodiscard]] const Field* FieldNamed(std::string_view field) const;
};

/// A member of a default reply's JSON object.
struct ReplyMember {
  std::string name;
  std::string json;   ///< its value as JSON text; null if `field` is set
  std::string field;  ///< the field of the request whose value it repeats, or empty
};

struct Reply {
  ReplyMode mode{};
  std::vector<std::string> pieces;   ///< default reply of a STREAM
  std::vector<ReplyMember> members;  ///< default reply of a PRINT: one JSON object
};

/// Another reply for the requests in which `field` is not 0.
struct ReplyWith {
  std::string option;  ///< long name of the option that sets the field
  std::string field;
  Reply reply;
};

/// Bytes of a request, in the host's byte order, so many times.
struct RequestPart {
  std::string bytes;
  std::size_t times;
  bool isNumber;
};

/// A command line and the request that the client sends for it.
struct Example {
  std::string name;               ///< unique among all examples; letters, digits, blanks, hyphens
  std::vector<std::string> args;  ///< after the client's name, which must be "trel-tool"
  std::vector<RequestPart> parts;
  std::string fields;  ///< the decoded fields as JSON text, or empty

  /// Header and payload, as a client sends them whose host has this byte order.
  [[nodiscard]] std::string Request(std::endian order = std::endian::native) const;
};

struct Word {
  std::string name;
  std::string field;     ///< the field of the payload that it sets
  std::string standard;  ///< what is sent without it, as a word; empty: nothing
};

struct Command {
  std::string word;
  std::uint32_t code;
  std::string check;
  std::uint32_t timeoutSeconds;
  Reply reply;
  std::optional<ReplyWith> with;
  const Payload* payload;            ///< never null
  std::vector<std::string> options;  ///< long names of those that change what it does
  std::vector<Word> words;           ///< positional words
  bool listed;                       ///< whether the help text names it
  std::string help;                  ///< description in the help text; empty if not listed
  std::vector<Example> examples;     ///< at least one; the first shows the command itself
};

struct Option {
  char letter;
  std::string name;                    ///< long name
  std::string type;                    ///< of its argument; "none" if it takes none
  std::string help;                    ///< its line of the help text
  std::optional<std::uint64_t> most;   ///< largest number that is accepted
  std::optional<std::size_t> bytes;    ///< longest text that is accepted
  std::optional<std::size_t> entries;  ///< longest list that is accepted
  const Names* names;                  ///< the names that it accepts, or null
};

struct Diagnostic {
  std::string text;               ///< printf format
  std::string exit;               ///< "0", "1", "errno", "status", "signal" or "any"
  std::string option;             ///< long name of the option that it is about, or empty
  std::string check;              ///< the check that failed, or empty
  std::vector<std::string> args;  ///< a command line that shows it, or none
};

struct Contract {
  std::string socketPath;  ///< the default one
  std::string helpOrder;   ///< letters of the options as the help text lists them
  std::vector<Names> names;
  std::vector<Payload> payloads;
  std::vector<Option> options;    ///< in the order of the long-option table
  std::vector<Command> commands;  ///< in the order of their codes
  std::vector<Diagnostic> diagnostics;

  /// Null if there is none.
  [[nodiscard]] const Command* CommandOfCode(std::uint32_t code) const;
  [[nodiscard]] const Command* CommandOfWord(std::string_view word) const;
  [[nodiscard]] const Option* OptionOfName(std::string_view name) const;
};

/// The contract, parsed by the first call in less than 2 ms. Any thread may call it. Throws a
/// std::exception if the file that was compiled in is no contract.
[[nodiscard]] const Contract& Get();

}  // namespace contract

#endif  // STANDIN_CONTRACT_CONTRACT_H
