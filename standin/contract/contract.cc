// One function for each record of the contract.

#include "contract/contract.h"

#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <stdexcept>
#include <utility>

#include "core/text.h"
#include "json/json.h"

namespace contract {

/// generated/contract.json; the build makes the file that defines it.
extern const std::string_view CONTRACT_JSON;

namespace {

using Json = standin::Value;

/// The value, which has to be of this type.
template <typename Type>
const Type& As(const Json& json) {
  return std::get<Type>(json.is);
}

const std::string& Text(const Json& json) { return As<std::string>(json); }

template <typename Number>
Number NumberOf(const Json& json) {
  return static_cast<Number>(As<std::uint64_t>(json));
}

/// Null if there is no such member, or if it is null itself.
const Json* FindIn(const Json& json, std::string_view member) {
  const Json* const found = standin::Find(As<standin::Object>(json), member);
  return found != nullptr && found->As<std::nullptr_t>() == nullptr ? found : nullptr;
}

const Json& At(const Json& json, std::string_view member) {
  const Json* const found = FindIn(json, member);
  if (found == nullptr) {
    throw std::runtime_error("the contract's reader misses " + std::string(member));
  }
  return *found;
}

/// Empty if there is no such member.
std::string TextIn(const Json& json, std::string_view member) {
  const Json* const found = FindIn(json, member);
  return found != nullptr ? Text(*found) : "";
}

template <typename Number>
std::optional<Number> NumberIn(const Json& json, std::string_view member) {
  const Json* const found = FindIn(json, member);
  return found != nullptr ? std::optional(NumberOf<Number>(*found)) : std::nullopt;
}

template <typename Kind>
using Known = std::pair<std::string_view, Kind>;

template <typename Kind, std::size_t Size>
Kind Named(const Json& name, const std::array<Known<Kind>, Size>& kinds) {
  const std::string& text = Text(name);
  for (const auto& [known, kind] : kinds) {
    if (known == text) {
      return kind;
    }
  }
  throw std::runtime_error("the contract's reader does not know " + text);
}

constexpr auto MODES = std::to_array<Known<ReplyMode>>({
    {"stream", ReplyMode::STREAM},
    {"print", ReplyMode::PRINT},
    {"silent", ReplyMode::SILENT},
    {"none", ReplyMode::NONE},
});

constexpr auto FIELD_TYPES = std::to_array<Known<FieldType>>({
    {"uuid-bytes", FieldType::UUID_BYTES},
    {"uuid-text", FieldType::UUID_TEXT},
    {"u8", FieldType::U8},
    {"u32", FieldType::U32},
    {"u64", FieldType::U64},
    {"f64", FieldType::F64},
    {"chars", FieldType::CHARS},
    {"text", FieldType::TEXT},
    {"json", FieldType::JSON},
    {"list", FieldType::LIST},
    {"list-area", FieldType::LIST_AREA},
    {"digits", FieldType::DIGITS},
    {"name", FieldType::NAME},
    {"reserved", FieldType::RESERVED},
});

constexpr auto VALUE_KINDS = std::to_array<Known<ValueKind>>({
    {"text", ValueKind::TEXT},
    {"natural", ValueKind::NATURAL},
    {"number", ValueKind::NUMBER},
    {"list", ValueKind::LIST},
});

/// The record that has this value in its member `Key`; null if there is none.
template <auto Key, typename Record, typename Value>
const Record* FindBy(const std::vector<Record>& records, const Value& value) {
  const auto found = std::find_if(records.begin(), records.end(), [&](const Record& record) {
    return std::invoke(Key, record) == value;
  });
  return found != records.end() ? &*found : nullptr;
}

template <typename Record, typename Read>
std::vector<Record> ReadList(const Json& json, Read read) {
  std::vector<Record> records;
  for (const Json& entry : As<standin::List>(json)) {
    records.push_back(read(entry));
  }
  return records;
}

std::vector<std::string> ReadTexts(const Json& json) { return ReadList<std::string>(json, Text); }

Names ReadNames(const Json& json) {
  Names names{.name = Text(At(json, "name")), .numbers = {}};
  for (const auto& [name, number] : As<standin::Object>(At(json, "numbers"))) {
    names.numbers.push_back({name, NumberOf<std::uint64_t>(number)});
  }
  return names;
}

Field ReadField(const Json& json, const Contract& contract, const Json& types) {
  const Json& type = At(json, "type");
  return {.name = Text(At(json, "name")),
          .type = Named(type, FIELD_TYPES),
          .value = Named(At(At(types, Text(type)), "json"), VALUE_KINDS),
          .offset = NumberIn<std::size_t>(json, "offset").value_or(0),
          .width = NumberIn<std::size_t>(json, "width").value_or(0),
          .part = NumberIn<int>(json, "part"),
          .of = TextIn(json, "of"),
          .names = FindBy<&Names::name>(contract.names, TextIn(json, "names")),
          .counts = TextIn(json, "counts")};
}

Payload ReadPayload(const Json& json, const Contract& contract, const Json& types) {
  const Json& length = At(json, "length");
  return {.name = Text(At(json, "name")),
          .least = NumberOf<std::size_t>(At(length, "least")),
          .most = NumberIn<std::size_t>(length, "most"),
          .fields = ReadList<Field>(At(json, "fields"), [&](const Json& field) {
            return ReadField(field, contract, types);
          })};
}

Option ReadOption(const Json& json, const Contract& contract) {
  const Json& limits = At(json, "limits");
  return {.letter = Text(At(json, "letter")).at(0),
          .name = Text(At(json, "name")),
          .type = Text(At(json, "type")),
          .help = Text(At(json, "help")),
          .most = NumberIn<std::uint64_t>(limits, "most"),
          .bytes = NumberIn<std::size_t>(limits, "bytes"),
          .entries = NumberIn<std::size_t>(limits, "entries"),
          .names = FindBy<&Names::name>(contract.names, TextIn(json, "names"))};
}

Reply ReadReply(const Json& json) {
  Reply reply{.mode = Named(At(json, "mode"), MODES), .pieces = {}, .members = {}};
  if (reply.mode == ReplyMode::STREAM) {
    reply.pieces = ReadTexts(At(json, "default"));
  } else if (reply.mode == ReplyMode::PRINT) {
    for (const Json& member : As<standin::List>(At(json, "default"))) {
      const Json* const value = FindIn(member, "value");
      reply.members.push_back({Text(At(member, "name")),
                               standin::ToJson(value != nullptr ? *value : Json()),
                               TextIn(member, "field")});
    }
  }
  return reply;
}

std::string Repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t count = 0; count < times; ++count) {
    all += text;
  }
  return all;
}

/// The bytes of a number of this type, in the host's byte order.
template <typename Number>
std::string Bytes(Number number) {
  const auto bytes = std::bit_cast<std::array<char, sizeof(Number)>>(number);
  return {bytes.begin(), bytes.end()};
}

RequestPart ReadPart(const Json& json) {
  const auto& [kind, value] = As<standin::Object>(json).at(0);
  const auto* const real = value.As<double>();
  std::string bytes = kind == "u32"   ? Bytes(NumberOf<std::uint32_t>(value))
                      : kind == "u64" ? Bytes(NumberOf<std::uint64_t>(value))
                      : kind == "f64" ? Bytes(real != nullptr ? *real : NumberOf<double>(value))
                                      : standin::FromHex(Text(value));
  return {std::move(bytes), NumberIn<std::size_t>(json, "times").value_or(1), kind != "bytes"};
}

std::string ReadArgument(const Json& json) {
  const auto* const text = json.As<std::string>();
  return text != nullptr
             ? *text
             : Repeated(Text(At(json, "text")), NumberOf<std::size_t>(At(json, "times")));
}

Example ReadExample(const Json& json) {
  return {.name = Text(At(json, "name")),
          .args = ReadList<std::string>(At(json, "args"), ReadArgument),
          .parts = ReadList<RequestPart>(At(json, "request"), ReadPart),
          .fields = FindIn(json, "fields") != nullptr ? standin::ToJson(At(json, "fields")) : ""};
}

std::optional<ReplyWith> ReadWith(const Json& reply) {
  const Json* const found = FindIn(reply, "with");
  if (found == nullptr) {
    return std::nullopt;
  }
  return ReplyWith{Text(At(*found, "option")), Text(At(*found, "field")), ReadReply(*found)};
}

Command ReadCommand(const Json& json, const Contract& contract) {
  return {
      .word = Text(At(json, "word")),
      .code = NumberOf<std::uint32_t>(At(json, "code")),
      .check = Text(At(json, "check")),
      .timeoutSeconds = NumberOf<std::uint32_t>(At(json, "timeout")),
      .reply = ReadReply(At(json, "reply")),
      .with = ReadWith(At(json, "reply")),
      .payload = FindBy<&Payload::name>(contract.payloads, TextIn(json, "payload")),
      .options = ReadTexts(At(json, "options")),
      .words = ReadList<Word>(
          At(json, "words"),
          [](const Json& word) {
            return Word{Text(At(word, "name")), Text(At(word, "field")), Text(At(word, "default"))};
          }),
      .listed = FindIn(json, "help") != nullptr,
      .help = TextIn(json, "help"),
      .examples = ReadList<Example>(At(json, "examples"), ReadExample)};
}

Contract Read() {
  const Json json = standin::ParseJson(CONTRACT_JSON);
  Contract contract;
  contract.socketPath = Text(At(json, "socketPath"));
  contract.helpOrder = Text(At(json, "helpOrder"));
  contract.names = ReadList<Names>(At(json, "names"), ReadNames);
  contract.payloads = ReadList<Payload>(At(json, "payloads"), [&](const Json& payload) {
    return ReadPayload(payload, contract, At(json, "fieldTypes"));
  });
  contract.options = ReadList<Option>(
      At(json, "options"), [&](const Json& option) { return ReadOption(option, contract); });
  contract.commands = ReadList<Command>(
      At(json, "commands"), [&](const Json& command) { return ReadCommand(command, contract); });
  contract.diagnostics = ReadList<Diagnostic>(At(json, "diagnostics"), [](const Json& entry) {
    return Diagnostic{Text(At(entry, "text")), Text(At(entry, "exit")), TextIn(entry, "option"),
                      TextIn(entry, "check"),
                      ReadList<std::string>(At(entry, "args"), ReadArgument)};
  });
  return contract;
}

}  // namespace

std::string Example::Request(std::endian order) const {
  std::string request;
  for (const RequestPart& part : parts) {
    const bool reversed = part.isNumber && order != std::endian::native;
    request += Repeated(reversed ? std::string(part.bytes.rbegin(), part.bytes.rend()) : part.bytes,
                        part.times);
  }
  return request;
}

std::string_view Names::NameOf(std::uint64_t number) const {
  const NamedNumber* const found = FindBy<&NamedNumber::number>(numbers, number);
  return found != nullptr ? std::string_view(found->name) : "";
}

const Field* Payload::FieldNamed(std::string_view field) const {
  return FindBy<&Field::name>(fields, field);
}

const Command* Contract::CommandOfCode(std::uint32_t code) const {
  return FindBy<&Command::code>(commands, code);
}

const Command* Contract::CommandOfWord(std::string_view word) const {
  return FindBy<&Command::word>(commands, word);
}

const Option* Contract::OptionOfName(std::string_view name) const {
  return FindBy<&Option::name>(options, name);
}

const Contract& Get() {
  static const Contract CONTRACT = Read();
  return CONTRACT;
}

}  // namespace contract
