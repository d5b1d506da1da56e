// Decoding: walks the layout of the command's payload, one field after another.

#include "protocol/request.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

#include "core/hex.h"
#include "protocol/layout.h"

namespace standin {
namespace {

std::uint64_t LittleEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (std::size_t place = bytes.size(); place > 0; --place) {
    number = number << 8 | static_cast<unsigned char>(bytes[place - 1]);
  }
  return number;
}

std::string UuidText(std::string_view bytes) {
  std::string text = ToHex(bytes);
  for (const std::size_t place : {8U, 13U, 18U, 23U}) {
    text.insert(place, 1, '-');
  }
  return text;
}

bool IsUuidText(std::string_view text) {
  if (text.size() != UUID_CHARS_SIZE) {
    return false;
  }
  for (std::size_t place = 0; place < text.size(); ++place) {
    const bool hyphen = place == 8 || place == 13 || place == 18 || place == 23;
    const char character = text[place];
    const bool digit =
        (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
    if (hyphen ? character != '-' : !digit) {
      return false;
    }
  }
  return true;
}

/// JSON knows no infinity and no NaN: these become texts.
Json NumberValue(double number) {
  if (std::isfinite(number)) {
    return number;
  }
  return std::isnan(number) ? "nan" : (number > 0 ? "inf" : "-inf");
}

Json SplitList(std::string_view text) {
  Json list = Json::array();
  while (!text.empty()) {
    const std::size_t comma = text.find(',');
    list.push_back(text.substr(0, comma));
    if (comma == std::string_view::npos) {
      break;
    }
    text.remove_prefix(comma + 1);
    if (text.empty()) {
      list.push_back("");
    }
  }
  return list;
}

/// Reads one payload and fills in the fields and the remarks of its request.
class Decoder {
 public:
  explicit Decoder(Request& request) : request_(request), payload_(request.payload) {}

  void Decode(const PayloadLayout& layout) {
    CheckSize(layout);
    for (const FieldLayout& field : layout.fields) {
      if (payload_.size() >= field.offset + field.width) {
        const std::string_view bytes =
            payload_.substr(field.offset, field.width != 0 ? field.width : std::string_view::npos);
        DecodeField(field, bytes);
      }
    }
    CheckCount("uuidCount", "uuidList");
    CheckCount("destinationCount", "destinationList");
    CheckCount("exclusionCount", "exclusionList");
  }

 private:
  void Remark(std::string text) { request_.remarks.push_back(std::move(text)); }

  void CheckSize(const PayloadLayout& layout) {
    const std::string length = "length " + std::to_string(payload_.size());
    if (payload_.size() < layout.leastSize) {
      Remark(length + ", at least " + std::to_string(layout.leastSize) + " expected");
    } else if (payload_.size() > layout.mostSize) {
      Remark(length + ", at most " + std::to_string(layout.mostSize) + " expected");
    }
  }

  /// The list itself is not looked at by the daemon: 37 bytes are an entry.
  void CheckCount(const char* countName, const char* listName) {
    const auto count = request_.fields.find(countName);
    if (count == request_.fields.end() || !request_.fields.contains(listName)) {
      return;
    }
    const std::size_t entries = (listLengths_[listName] + 1) / (UUID_CHARS_SIZE + 1);
    if (*count != entries) {
      Remark(std::string(countName) + " is " + count->dump() + ", the list has " +
             std::to_string(entries));
    }
  }

  /// The text in front of the first NUL, or all of `bytes`, with a remark.
  std::string_view Terminated(const FieldLayout& field, std::string_view bytes) {
    const std::size_t end = bytes.find('\0');
    if (end == std::string_view::npos) {
      Remark(std::string(field.name) + " has no terminator");
    }
    return bytes.substr(0, end);
  }

  /// Like Terminated; what follows the terminator has to be zero.
  std::string_view ZeroFilled(const FieldLayout& field, std::string_view bytes) {
    const std::string_view text = Terminated(field, bytes);
    if (bytes.find_first_not_of('\0', text.size()) != std::string_view::npos) {
      Remark(std::string(field.name) + " has bytes behind its terminator");
    }
    return text;
  }

  Json List(const FieldLayout& field, std::string_view text) {
    listLengths_[std::string(field.name)] = text.size();
    return SplitList(text);
  }

  Json CheckedUuid(const FieldLayout& field, std::string_view text) {
    if (!IsUuidText(text)) {
      Remark(std::string(field.name) + " is not a UUID of lower-case digits");
    }
    return text;
  }

  /// The number that `digits` are, or they themselves, with a remark.
  Json Digits(const FieldLayout& field, std::string_view digits) {
    unsigned long number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
      Remark(std::string(field.name) + " is not a number");
      return digits;
    }
    return number;
  }

  void Name(const FieldLayout& field, const char* numberName,
            std::string_view (*nameOf)(unsigned long)) {
    const Json& number = request_.fields.at(numberName);
    request_.fields.at(std::string(field.name)) =
        number.is_number() ? nameOf(number.get<unsigned long>()) : "";
  }

  /// The part of the text between colon `index` - 1 and colon `index`.
  static std::string_view Part(std::string_view text, int index) {
    for (; index > 0; --index) {
      const std::size_t colon = text.find(':');
      text.remove_prefix(colon != std::string_view::npos ? colon + 1 : text.size());
    }
    return text;
  }

  static std::string_view BeforeColon(std::string_view text) {
    return text.substr(0, text.find(':'));
  }

  void DecodeField(const FieldLayout& field, std::string_view bytes) {
    Json& value = request_.fields[std::string(field.name)];
    switch (field.type) {
      case FieldType::UUID_BYTES:
        value = UuidText(bytes);
        break;
      case FieldType::UUID_CHARS:
        value = CheckedUuid(field, bytes);
        break;
      case FieldType::U8:
      case FieldType::U32:
      case FieldType::U64:
        value = LittleEndian(bytes);
        break;
      case FieldType::F64:
        value = NumberValue(std::bit_cast<double>(LittleEndian(bytes)));
        break;
      case FieldType::CHARS_TO_END:
        value = bytes;
        break;
      case FieldType::TEXT_TO_END:
        value = ZeroFilled(field, bytes);
        if (field.name == "json" && !Json::accept(value.get_ref<const std::string&>())) {
          Remark("json is not valid JSON");
        }
        break;
      case FieldType::LIST_TO_END:
      case FieldType::LIST_AREA:
        value = List(field, ZeroFilled(field, bytes));
        break;
      case FieldType::DIGITS:
        value = Digits(field, Terminated(field, bytes));
        break;
      case FieldType::WORK_ITEM_NAME:
        Name(field, "workItem", WorkItemName);
        break;
      case FieldType::EVENT_PART:
        value = Digits(field, BeforeColon(ZeroFilled(field, bytes)));
        break;
      case FieldType::EVENT_NAME:
        Name(field, "eventType", EventName);
        break;
      case FieldType::ENTRY_PART:
        value = Digits(field, BeforeColon(Part(bytes.substr(0, bytes.find('\0')), 1)));
        break;
      case FieldType::ENTRY_NAME:
        Name(field, "entryType", EntryName);
        break;
      case FieldType::UUID_PART:
        value = CheckedUuid(field, Part(bytes.substr(0, bytes.find('\0')), 2));
        break;
      case FieldType::RESERVED:
        value = ToHex(bytes);
        if (bytes.find_first_not_of('\0') == std::string_view::npos) {
          request_.fields.erase(std::string(field.name));
        }
        break;
    }
  }

  Request& request_;
  std::string_view payload_;
  std::map<std::string, std::size_t> listLengths_;
};

}  // namespace

Request DecodeRequest(const Header& header, std::string payload) {
  Request request{
      .header = header, .payload = std::move(payload), .command = CommandOfCode(header.word)};
  if (request.command == nullptr) {
    request.remarks.emplace_back("no command has the code " + std::to_string(header.word));
  } else {
    Decoder(request).Decode(LayoutOf(request.command->shape));
  }
  return request;
}

ReplyForm ReplyFormOf(const Request& request) {
  if (request.command == nullptr) {
    return ReplyForm::EMPTY_FRAME;
  }
  if (request.command->shape == PayloadShape::CRAWLER_TEXT &&
      request.fields.value("all", Json()) == 1) {
    return ReplyForm::STREAM;
  }
  return request.command->reply;
}

}  // namespace standin
