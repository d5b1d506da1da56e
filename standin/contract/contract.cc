// One function for each record of the contract. The only file of the reader that includes the
// JSON library, which is slow to compile.

#include "contract/contract.h"

#include <algorithm>
#include <array>
#include <bit>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace contract {

/// generated/contract.json; the build makes the file that defines it.
extern const std::string_view CONTRACT_JSON;

namespace {

// In the file's order, and without std::map, into which MemorySanitizer does not see.
using Json = nlohmann::ordered_json;

template <typename Kind, std::size_t Size>
Kind Named(const Json& name, const std::array<std::pair<std::string_view, Kind>, Size>& kinds) {
  const auto& text = name.get_ref<const std::string&>();
  for (const auto& [known, kind] : kinds) {
    if (known == text) {
      return kind;
    }
  }
  throw std::runtime_error("the contract's reader does not know " + text);
}

ReplyMode ReadMode(const Json& name) {
  static constexpr std::array<std::pair<std::string_view, ReplyMode>, 4> MODES = {{
      {"stream", ReplyMode::STREAM},
      {"print", ReplyMode::PRINT},
      {"silent", ReplyMode::SILENT},
      {"none", ReplyMode::NONE},
  }};
  return Named(name, MODES);
}

FieldType ReadFieldType(const Json& name) {
  using enum FieldType;
  static constexpr std::array<std::pair<std::string_view, FieldType>, 14> TYPES = {{
      {"uuid-bytes", UUID_BYTES},
      {"uuid-text", UUID_TEXT},
      {"u8", U8},
      {"u32", U32},
      {"u64", U64},
      {"f64", F64},
      {"chars", CHARS},
      {"text", TEXT},
      {"json", JSON},
      {"list", LIST},
      {"list-area", LIST_AREA},
      {"digits", DIGITS},
      {"name", NAME},
      {"reserved", RESERVED},
  }};
  return Named(name, TYPES);
}

ValueKind ReadValueKind(const Json& name) {
  static constexpr std::array<std::pair<std::string_view, ValueKind>, 4> KINDS = {{
      {"text", ValueKind::TEXT},
      {"natural", ValueKind::NATURAL},
      {"number", ValueKind::NUMBER},
      {"list", ValueKind::LIST},
  }};
  return Named(name, KINDS);
}

template <typename Value>
std::optional<Value> ReadOptional(const Json& json, const char* member) {
  const auto found = json.find(member);
  return found != json.end() && !found->is_null() ? std::optional(found->get<Value>())
                                                  : std::nullopt;
}

template <typename Record>
const Record* FindNamed(const std::vector<Record>& records, std::string_view name) {
  const auto found = std::find_if(records.begin(), records.end(),
                                  [&](const Record& record) { return record.name == name; });
  return found != records.end() ? &*found : nullptr;
}

template <typename Record>
const Record* NamedBy(const Json& json, const char* member, const std::vector<Record>& records) {
  return FindNamed(records, json.value(member, std::string()));
}

template <typename Record, typename Read>
std::vector<Record> ReadList(const Json& json, Read read) {
  std::vector<Record> records;
  records.reserve(json.size());
  for (const Json& entry : json) {
    records.push_back(read(entry));
  }
  return records;
}

Names ReadNames(const Json& json) {
  Names names{.name = json.at("name"), .numbers = {}};
  for (const auto& [name, number] : json.at("numbers").items()) {
    names.numbers.push_back({name, number});
  }
  return names;
}

Field ReadField(const Json& json, const Contract& contract, const Json& types) {
  const Json& type = json.at("type");
  return {.name = json.at("name"),
          .type = ReadFieldType(type),
          .value = ReadValueKind(types.at(type.get_ref<const std::string&>()).at("json")),
          .offset = json.value("offset", std::size_t{0}),
          .width = json.value("width", std::size_t{0}),
          .part = ReadOptional<int>(json, "part"),
          .of = json.value("of", std::string()),
          .names = NamedBy(json, "names", contract.names),
          .counts = json.value("counts", std::string())};
}

Payload ReadPayload(const Json& json, const Contract& contract, const Json& types) {
  const Json& length = json.at("length");
  return {.name = json.at("name"),
          .least = length.at("least"),
          .most = ReadOptional<std::size_t>(length, "most"),
          .fields = ReadList<Field>(json.at("fields"), [&](const Json& field) {
            return ReadField(field, contract, types);
          })};
}

Option ReadOption(const Json& json, const Contract& contract) {
  const Json& limits = json.at("limits");
  return {.letter = json.at("letter").get_ref<const std::string&>().at(0),
          .name = json.at("name"),
          .type = json.at("type"),
          .help = json.at("help"),
          .most = ReadOptional<std::uint64_t>(limits, "most"),
          .bytes = ReadOptional<std::size_t>(limits, "bytes"),
          .entries = ReadOptional<std::size_t>(limits, "entries"),
          .names = NamedBy(json, "names", contract.names)};
}

Reply ReadReply(const Json& json) {
  Reply reply{.mode = ReadMode(json.at("mode")), .pieces = {}, .members = {}};
  if (reply.mode == ReplyMode::STREAM) {
    json.at("default").get_to(reply.pieces);
  } else if (reply.mode == ReplyMode::PRINT) {
    for (const Json& member : json.at("default")) {
      reply.members.push_back({member.at("name"),
                               member.contains("value") ? member.at("value").dump() : "",
                               member.value("field", std::string())});
    }
  }
  return reply;
}

std::string Repeated(const std::string& text, std::size_t times) {
  if (text.size() == 1) {
    return std::string(times, text.front());
  }
  std::string all;
  for (std::size_t count = 0; count < times; ++count) {
    all += text;
  }
  return all;
}

/// The bytes of a number of this type, in the host's byte order.
template <typename Number>
std::string Bytes(const Json& json) {
  const auto bytes = std::bit_cast<std::array<char, sizeof(Number)>>(json.get<Number>());
  return {bytes.begin(), bytes.end()};
}

/// Of lower-case digits, as the generator writes them.
std::string HexBytes(std::string_view digits) {
  const auto valueOf = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
  std::string bytes;
  for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
    bytes += static_cast<char>(valueOf(digits[index]) * 16 + valueOf(digits[index + 1]));
  }
  return bytes;
}

RequestPart ReadPart(const Json& json) {
  const std::string& kind = json.begin().key();
  const Json& value = json.begin().value();
  std::string bytes = kind == "u32"   ? Bytes<std::uint32_t>(value)
                      : kind == "u64" ? Bytes<std::uint64_t>(value)
                      : kind == "f64" ? Bytes<double>(value)
                                      : HexBytes(value.get_ref<const std::string&>());
  return {std::move(bytes), json.value("times", std::size_t{1})};
}

std::string ReadArgument(const Json& json) {
  if (json.is_string()) {
    return json;
  }
  return Repeated(json.at("text"), json.at("times"));
}

Example ReadExample(const Json& json) {
  return {.name = json.at("name"),
          .args = ReadList<std::string>(json.at("args"), ReadArgument),
          .parts = ReadList<RequestPart>(json.at("request"), ReadPart),
          .fields = json.contains("fields") ? json.at("fields").dump() : ""};
}

std::optional<ReplyWith> ReadWith(const Json& reply) {
  const auto found = reply.find("with");
  if (found == reply.end()) {
    return std::nullopt;
  }
  return ReplyWith{found->at("option"), found->at("field"), ReadReply(*found)};
}

Command ReadCommand(const Json& json, const Contract& contract) {
  return {
      .word = json.at("word"),
      .code = json.at("code"),
      .since = json.at("since"),
      .check = json.at("check"),
      .timeoutSeconds = json.at("timeout"),
      .reply = ReadReply(json.at("reply")),
      .with = ReadWith(json.at("reply")),
      .payload = NamedBy(json, "payload", contract.payloads),
      .options = json.at("options"),
      .words = ReadList<Word>(json.at("words"),
                              [](const Json& word) {
                                return Word{word.at("name"), word.at("field"), word.at("default")};
                              }),
      .listed = json.contains("help"),
      .help = json.value("help", std::string()),
      .examples = ReadList<Example>(json.at("examples"), ReadExample)};
}

Contract Read() {
  const Json json = Json::parse(CONTRACT_JSON);
  Contract contract;
  contract.socketPath = json.at("socketPath");
  contract.helpOrder = json.at("helpOrder");
  for (const auto& [name, meaning] : json.at("checks").items()) {
    contract.checks.push_back(name);
  }
  contract.names = ReadList<Names>(json.at("names"), ReadNames);
  contract.payloads = ReadList<Payload>(json.at("payloads"), [&](const Json& payload) {
    return ReadPayload(payload, contract, json.at("fieldTypes"));
  });
  contract.options = ReadList<Option>(
      json.at("options"), [&](const Json& option) { return ReadOption(option, contract); });
  contract.commands = ReadList<Command>(
      json.at("commands"), [&](const Json& command) { return ReadCommand(command, contract); });
  contract.diagnostics = ReadList<Diagnostic>(json.at("diagnostics"), [](const Json& entry) {
    return Diagnostic{entry.at("text"), entry.at("exit"), entry.value("option", std::string()),
                      entry.value("check", std::string()),
                      ReadList<std::string>(entry.at("args"), ReadArgument)};
  });
  return contract;
}

}  // namespace

std::string Example::Request() const {
  std::string request;
  for (const RequestPart& part : parts) {
    request += Repeated(part.bytes, part.times);
  }
  return request;
}

std::string_view Names::NameOf(std::uint64_t number) const {
  const auto found = std::find_if(numbers.begin(), numbers.end(),
                                  [&](const NamedNumber& row) { return row.number == number; });
  return found != numbers.end() ? std::string_view(found->name) : "";
}

const Field* Payload::FieldNamed(std::string_view field) const { return FindNamed(fields, field); }

const Command* Contract::CommandOfCode(std::uint32_t code) const {
  const auto found = std::find_if(commands.begin(), commands.end(),
                                  [&](const Command& command) { return command.code == code; });
  return found != commands.end() ? &*found : nullptr;
}

const Command* Contract::CommandOfWord(std::string_view word) const {
  const auto found = std::find_if(commands.begin(), commands.end(),
                                  [&](const Command& command) { return command.word == word; });
  return found != commands.end() ? &*found : nullptr;
}

const Option* Contract::OptionOfName(std::string_view name) const {
  return FindNamed(options, name);
}

const Contract& Get() {
  static const Contract CONTRACT = Read();
  return CONTRACT;
}

}  // namespace contract
