// One function for each list of the catalogue.

#include "catalogue.h"

#include <nlohmann/json.hpp>

#include "facts.h"
#include "texts.h"

namespace generate {
namespace {

using Json = nlohmann::ordered_json;

/// Changes when a reader of the catalogue must change.
constexpr int FORMAT = 1;

Json Meanings(std::span<const Meaning> meanings) {
  Json list = Json::array();
  for (const Meaning& meaning : meanings) {
    list.push_back({{"value", meaning.value}, {"meaning", meaning.text}});
  }
  return list;
}

Json Words(std::span<const WordText> words) {
  Json list = Json::array();
  for (const WordText& word : words) {
    Json entry = {{"name", word.name}, {"summary", word.summary}};
    if (!word.unset.empty()) {
      entry["default"] = word.unset;
    }
    entry["values"] = Meanings(word.values);
    list.push_back(entry);
  }
  return list;
}

Json OptionNames(std::string_view letters) {
  Json list = Json::array();
  for (const option& entry : trel::LONG_OPTIONS) {
    if (entry.name != nullptr &&
        letters.find(static_cast<char>(entry.val)) != std::string_view::npos) {
      list.push_back(entry.name);
    }
  }
  return list;
}

Json Command(const trel::CommandSpec& row) {
  const CommandText& text = COMMAND_TEXTS[row.code - 1];
  const PayloadSize size = SizeOf(row.payloadKind);
  Json reply = {{"mode", FactOf(row.replyMode).name}};
  if (row.code == trel::CODE_GET_OBJ_CRAWLER_STATE) {
    reply["modeWithAll"] = FactOf(trel::ReplyMode::REPLY_STREAM).name;
  }
  reply["receiveTimeoutSeconds"] = row.receiveTimeoutSeconds;
  Json payload = {{"least", size.least}, {"most", nullptr}};
  if (size.most) {
    payload["most"] = *size.most;
  }
  return {{"word", row.word},
          {"code", row.code},
          {"listed", row.helpDescription != nullptr},
          {"summary", SummaryOf(row)},
          {"check", FactOf(row.check).name},
          {"options", OptionNames(text.options)},
          {"words", Words(text.words)},
          {"payloadBytes", payload},
          {"reply", reply}};
}

Json Commands() {
  Json list = Json::array();
  for (const trel::CommandSpec& row : trel::COMMAND_TABLE) {
    list.push_back(Command(row));
  }
  return list;
}

Json Options() {
  Json list = Json::array();
  for (std::size_t row = 0; row < trel::OPTION_COUNT; ++row) {
    const OptionText& text = OPTION_TEXTS[row];
    list.push_back({{"name", trel::LONG_OPTIONS[row].name},
                    {"letter", std::string(1, text.letter)},
                    {"argument", NameOf(text.kind)},
                    {"summary", text.summary},
                    {"values", Meanings(text.values)}});
  }
  return list;
}

Json WorkItems() {
  Json list = Json::array();
  for (const trel::WorkItemName& row : trel::WORK_ITEM_NAMES) {
    list.push_back({{"name", row.name}, {"number", static_cast<std::uint32_t>(row.type)}});
  }
  return list;
}

/// The checks or reply modes that occur, each with its text, in the order of their codes.
template <typename Kind>
Json Facts(Kind trel::CommandSpec::*field) {
  Json facts = Json::object();
  for (const trel::CommandSpec& row : trel::COMMAND_TABLE) {
    const NamedFact fact = FactOf(row.*field);
    facts[std::string(fact.name)] = fact.text;
  }
  return facts;
}

Json ExitValues() {
  return Json::array({
      {{"value", 0},
       {"meaning",
        "success; also a daemon that hung up without a reply or within its payload, and a daemon's "
        "status that is a multiple of 256"}},
      {{"value", 1}, {"meaning", "the command line was refused, or no connection was made"}},
      {{"value", "errno"},
       {"meaning",
        "the errno value of a failed send, receive, write to standard output or opening of the "
        "output file; 11 for no answer within the time-out"}},
      {{"value", "status"}, {"meaning", "the low 8 bits of the daemon's status"}},
      {{"value", "signal"},
       {"meaning", "SIGABRT: a --uuid-list of more than 2560 entries, or no memory"}},
  });
}

}  // namespace

std::string Catalogue() {
  const Json catalogue = {{"format", FORMAT},
                          {"program", "trel-tool"},
                          {"defaultSocketPath", trel::DEFAULT_SOCKET_PATH},
                          {"commonOptions", OptionNames(COMMON_OPTIONS)},
                          {"commands", Commands()},
                          {"options", Options()},
                          {"workItems", WorkItems()},
                          {"checks", Facts(&trel::CommandSpec::check)},
                          {"replyModes", Facts(&trel::CommandSpec::replyMode)},
                          {"exitValues", ExitValues()}};
  return catalogue.dump(2) + "\n";
}

}  // namespace generate
