// Compares a request with an entry, field by field.

#include "script/entry.h"

#include <string_view>

#include "core/hex.h"

namespace standin {
namespace {

std::string Shown(const Json& value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (value.is_string()) {
    text += " (hex " + ToHex(value.get_ref<const std::string&>()) + ")";
  }
  return text;
}

std::string_view WordOf(const Request& request) {
  return request.command != nullptr ? request.command->word : "no command";
}

}  // namespace

std::vector<std::string> Differences(const Entry& entry, const Request& request) {
  std::vector<std::string> differences;
  if (entry.command != nullptr && entry.command != request.command) {
    differences.push_back("command: expected " + std::string(entry.command->word) + " (code " +
                          std::to_string(entry.command->code) + "), got " +
                          std::string(WordOf(request)) + " (code " +
                          std::to_string(request.header.word) + ")");
    return differences;
  }
  for (const auto& [name, expected] : entry.fields.items()) {
    const auto got = request.fields.find(name);
    if (got == request.fields.end()) {
      differences.push_back(name + ": expected " + Shown(expected) + ", the payload is too short");
    } else if (*got != expected) {
      differences.push_back(name + ": expected " + Shown(expected) + ", got " + Shown(*got));
    }
  }
  return differences;
}

Answer AnswerOf(const Entry& entry, const Request& request) {
  return entry.answer ? *entry.answer : PlausibleAnswer(request);
}

}  // namespace standin
