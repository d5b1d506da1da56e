// The samples, in the order of the contract.

#include "tests/support/command_samples.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "core/frame.h"
#include "tests/support/bytes.h"

namespace tests {
namespace {

/// A single-digit field decides where a command has two reply modes.
ReplyMode ModeOf(const contract::Command& command, const std::string& payload) {
  if (!command.with) {
    return command.reply.mode;
  }
  const std::size_t offset = command.payload->FieldNamed(command.with->field)->offset;
  return payload.at(offset) == '0' ? command.reply.mode : command.with->reply.mode;
}

std::string NameOf(const contract::Example& example) {
  std::string name = example.name;
  std::replace_if(
      name.begin(), name.end(),
      [](unsigned char character) { return std::isalnum(character) == 0; }, '_');
  return name;
}

/// The first of `samples` for each value of `key` and each reply mode.
template <typename Key>
std::vector<CommandSample> FirstOfEach(std::vector<CommandSample> samples, Key key) {
  std::set<std::pair<std::string, ReplyMode>> seen;
  return Only(std::move(samples), [&](const CommandSample& sample) {
    return seen.emplace(key(sample), sample.mode).second;
  });
}

}  // namespace

std::vector<CommandSample> AllSamples() {
  std::vector<CommandSample> samples;
  for (const contract::Command& command : contract::Get().commands) {
    for (const contract::Example& example : command.examples) {
      const std::string request = example.Request(ClientByteOrder());
      const std::string payload = request.substr(standin::HEADER_SIZE);
      samples.push_back({.command = &command,
                         .name = NameOf(example),
                         .words = example.args,
                         .mode = ModeOf(command, payload),
                         .header = request.substr(0, standin::HEADER_SIZE),
                         .payload = payload,
                         .fields = command.payload->fields.empty() ? "{}" : example.fields});
    }
  }
  return samples;
}

std::vector<CommandSample> SampleOfEachCommand() {
  std::vector<CommandSample> samples = AllSamples();
  std::stable_sort(samples.begin(), samples.end(), [](const auto& one, const auto& other) {
    return one.words.size() < other.words.size();
  });
  return FirstOfEach(std::move(samples),
                     [](const CommandSample& sample) { return sample.command->word; });
}

std::vector<CommandSample> SampleOfEachPayload() {
  return FirstOfEach(AllSamples(),
                     [](const CommandSample& sample) { return sample.command->payload->name; });
}

std::string OkOutput(const CommandSample& sample) {
  return sample.mode == ReplyMode::STREAM ? "ok" : sample.mode == ReplyMode::PRINT ? "ok\n" : "";
}

std::string SampleName(const testing::TestParamInfo<CommandSample>& test) {
  return test.param.name;
}

void PrintTo(const CommandSample& sample, std::ostream* out) { *out << sample.name; }

}  // namespace tests
