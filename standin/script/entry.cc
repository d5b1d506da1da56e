// Compares a request with an entry, field by field.

#include "script/entry.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "core/hex.h"
#include "json/json.h"

namespace standin {
namespace {

std::string Shown(const Value& value) {
  const auto* const text = value.As<std::string>();
  return ToJson(value) + (text != nullptr ? " (hex " + ToHex(*text) + ")" : "");
}

/// Letters of a UUID may be of either case.
bool AreSameUuid(std::string_view one, std::string_view other) {
  const auto isUuidLetter = [](char character) {
    return std::isxdigit(static_cast<unsigned char>(character)) != 0 || character == '-';
  };
  return one.size() == 36 && one[8] == '-' && std::all_of(one.begin(), one.end(), isUuidLetter) &&
         std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) ==
                  std::tolower(static_cast<unsigned char>(b));
         });
}

bool Matches(const Value& expected, const Value& got) {
  const auto* const list = expected.As<List>();
  const auto* const gotList = got.As<List>();
  if (list != nullptr && gotList != nullptr) {
    return std::equal(list->begin(), list->end(), gotList->begin(), gotList->end(), Matches);
  }
  return expected == got || AreSameUuid(expected.Text(), got.Text());
}

}  // namespace

std::string CommandOf(const Request& request) {
  return (request.command != nullptr ? request.command->word : "no command") + " (code " +
         std::to_string(request.header.word) + ")";
}

std::vector<std::string> Differences(const Entry& entry, const Request& request) {
  std::vector<std::string> differences;
  if (entry.command != nullptr && entry.command != request.command) {
    differences.push_back("command: expected " + entry.command->word + " (code " +
                          std::to_string(entry.command->code) + "), got " + CommandOf(request));
    return differences;
  }
  for (const auto& [name, expected] : entry.fields) {
    const Value* const got = Find(request.fields, name);
    if (got == nullptr) {
      differences.push_back(name + ": expected " + Shown(expected) + ", the payload is too short");
    } else if (!Matches(expected, *got)) {
      differences.push_back(name + ": expected " + Shown(expected) + ", got " + Shown(*got));
    }
  }
  return differences;
}

SharedReply ReplyOf(const Entry& entry, const Request& request) {
  return entry.reply ? entry.reply : DefaultReply(request);
}

}  // namespace standin
