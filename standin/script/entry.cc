// Compares a request with an entry, field by field.

#include "script/entry.h"

#include "core/hex.h"
#include "json/json.h"

namespace standin {
namespace {

std::string Shown(const Value& value) {
  const auto* const text = value.As<std::string>();
  return ToJson(value) + (text != nullptr ? " (hex " + ToHex(*text) + ")" : "");
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
    } else if (*got != expected) {
      differences.push_back(name + ": expected " + Shown(expected) + ", got " + Shown(*got));
    }
  }
  return differences;
}

SharedReply ReplyOf(const Entry& entry, const Request& request) {
  return entry.reply ? entry.reply : DefaultReply(request);
}

}  // namespace standin
