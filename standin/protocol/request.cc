// Decoding: a walk over the fields that the contract has for the command.

#include "protocol/request.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/text.h"

namespace standin {
namespace {

using contract::Field;
using contract::FieldType;

constexpr std::size_t UUID_SIZE = 36;

/// A number in the host's byte order.
template <typename Number>
Number HostNumber(std::string_view bytes) {
  Number number{};
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

std::string UuidOfBytes(std::string_view bytes) {
  std::string text = ToHex(bytes);
  for (const std::size_t index : {8U, 13U, 18U, 23U}) {
    text.insert(index, 1, '-');
  }
  return text;
}

/// JSON knows no infinity and no NaN: these become texts.
Value NumberValue(double number) {
  if (std::isfinite(number)) {
    return number;
  }
  return std::isnan(number) ? "nan" : (std::signbit(number) ? "-inf" : "inf");
}

List SplitList(std::string_view text) {
  List list;
  std::size_t begin = 0;
  for (std::size_t comma = 0; !text.empty() && comma != std::string_view::npos; begin = comma + 1) {
    comma = text.find(',', begin);
    list.emplace_back(text.substr(begin, comma - begin));
  }
  return list;
}

/// What the daemon takes for the number of entries: it counts 37 bytes for each.
std::uint64_t EntriesIn(const List& list) {
  std::uint64_t bytes = 0;
  for (const Value& entry : list) {
    bytes += entry.Text().size() + 1;
  }
  return bytes / (UUID_SIZE + 1);
}

/// Reads one payload and fills in the fields and the warnings of its request.
class Decoder {
 public:
  explicit Decoder(Request& request) : request_(request), payload_(request.payload) {}

  void Decode(const contract::Payload& layout) {
    CheckSize(layout);
    for (const Field& field : layout.fields) {
      if (payload_.size() >= field.offset + field.width) {
        DecodeField(
            field,
            payload_.substr(field.offset, field.width != 0 ? field.width : std::string_view::npos));
      }
    }
    for (const Field& field : layout.fields) {
      CheckCount(field);
    }
  }

 private:
  void Warn(std::string text) { request_.warnings.push_back(std::move(text)); }
  void WarnUnless(bool good, const Field& field, const char* text) {
    if (!good) {
      Warn(field.name + text);
    }
  }

  void CheckSize(const contract::Payload& layout) {
    const std::string length = "length " + std::to_string(payload_.size());
    if (payload_.size() < layout.least) {
      Warn(length + ", at least " + std::to_string(layout.least) + " expected");
    } else if (layout.most && payload_.size() > *layout.most) {
      Warn(length + ", at most " + std::to_string(*layout.most) + " expected");
    }
  }

  void CheckCount(const Field& field) {
    const Value* const count = Find(request_.fields, field.name);
    const Value* const list = Find(request_.fields, field.counts);
    if (count != nullptr && list != nullptr && list->As<List>() != nullptr) {
      const std::uint64_t entries = EntriesIn(*list->As<List>());
      if (*count != Value(entries)) {
        Warn(field.name + " is " + ToJson(*count) + ", the list has " + std::to_string(entries));
      }
    }
  }

  /// The text before the first NUL, or all of `bytes`, with a warning.
  std::string_view Terminated(const Field& field, std::string_view bytes) {
    const std::size_t end = bytes.find('\0');
    WarnUnless(end != std::string_view::npos, field, " has no terminator");
    return bytes.substr(0, end);
  }

  /// Like Terminated; what follows the terminator has to be zero.
  std::string_view ZeroFilled(const Field& field, std::string_view bytes) {
    const std::string_view text = Terminated(field, bytes);
    WarnUnless(bytes.find_first_not_of('\0', text.size()) == std::string_view::npos, field,
               " has bytes after its terminator");
    return text;
  }

  Value CheckedUuid(const Field& field, std::string_view text) {
    WarnUnless(IsUuid(text) && text.find_first_of("ABCDEF") == std::string_view::npos, field,
               " is not a UUID of lower-case digits");
    return text;
  }

  Value CheckedJson(const Field& field, std::string_view text) {
    WarnUnless(IsJson(text), field, " is not valid JSON");
    return text;
  }

  /// The number that `digits` are, or they themselves, with a warning.
  Value Digits(const Field& field, std::string_view digits) {
    std::uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number);
    const bool good = error == std::errc{} && rest == end;
    WarnUnless(good, field, " is not a number");
    return good ? Value(number) : Value(digits);
  }

  Value Name(const Field& field) {
    const Value* const number = Find(request_.fields, field.of);
    const auto* const natural = number != nullptr ? number->As<std::uint64_t>() : nullptr;
    return natural != nullptr ? field.names->NameOf(*natural) : "";
  }

  /// The part of a text whose parts a colon separates; the last one holds the rest.
  std::string_view Part(const Field& field, std::string_view bytes) {
    // Its end is looked at once.
    std::string_view text =
        *field.part == 0 ? ZeroFilled(field, bytes) : bytes.substr(0, bytes.find('\0'));
    for (int part = 0; part < *field.part; ++part) {
      const std::size_t colon = text.find(':');
      text.remove_prefix(colon != std::string_view::npos ? colon + 1 : text.size());
    }
    const auto& fields = request_.command->payload->fields;
    const bool last = std::none_of(fields.begin(), fields.end(), [&](const Field& other) {
      return other.part && *other.part > *field.part;
    });
    return last ? text : text.substr(0, text.find(':'));
  }

  Value ValueOf(const Field& field, std::string_view bytes) {
    switch (field.type) {
      case FieldType::UUID_BYTES:
        return UuidOfBytes(bytes);
      case FieldType::UUID_TEXT:
        return CheckedUuid(field, field.part ? Part(field, bytes) : bytes);
      case FieldType::U8:
        return HostNumber<std::uint8_t>(bytes);
      case FieldType::U32:
        return HostNumber<std::uint32_t>(bytes);
      case FieldType::U64:
        return HostNumber<std::uint64_t>(bytes);
      case FieldType::F64:
        return NumberValue(HostNumber<double>(bytes));
      case FieldType::CHARS:
        return bytes;
      case FieldType::TEXT:
        return ZeroFilled(field, bytes);
      case FieldType::JSON:
        return CheckedJson(field, ZeroFilled(field, bytes));
      case FieldType::LIST:
      case FieldType::LIST_AREA:
        return SplitList(ZeroFilled(field, bytes));
      case FieldType::DIGITS:
        return Digits(field, field.part ? Part(field, bytes) : Terminated(field, bytes));
      case FieldType::NAME:
        return Name(field);
      case FieldType::RESERVED:
        return ToHex(bytes);
    }
    __builtin_unreachable();
  }

  void DecodeField(const Field& field, std::string_view bytes) {
    const bool hidden =
        (field.type == FieldType::RESERVED &&
         bytes.find_first_not_of('\0') == std::string_view::npos) ||
        (field.type == FieldType::NAME && Find(request_.fields, field.of) == nullptr);
    if (!hidden) {
      request_.fields.push_back({field.name, ValueOf(field, bytes)});
    }
  }

  Request& request_;
  std::string_view payload_;
};

}  // namespace

Request DecodeRequest(const Header& header, std::string payload) {
  Request request{.header = header,
                  .payload = std::move(payload),
                  .command = contract::Get().CommandOfCode(header.word)};
  if (request.command == nullptr) {
    request.warnings.emplace_back("no command has the code " + std::to_string(header.word));
  } else {
    Decoder(request).Decode(*request.command->payload);
  }
  return request;
}

const contract::Reply& ExpectedReply(const Request& request) {
  const auto& with = request.command->with;
  const Value* const field = with ? Find(request.fields, with->field) : nullptr;
  const auto* const number = field != nullptr ? field->As<std::uint64_t>() : nullptr;
  return number != nullptr && *number != 0 ? with->reply : request.command->reply;
}

}  // namespace standin
