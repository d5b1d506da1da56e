// The first example of each command of the contract, and what the stand-in makes of it.

#ifndef TESTS_SUPPORT_ALL_COMMANDS_H
#define TESTS_SUPPORT_ALL_COMMANDS_H

#include <map>
#include <string>
#include <vector>

#include "contract/contract.h"

namespace tests {

struct CommandCase {
  unsigned code;
  std::vector<std::string> words;  ///< the command word first
  std::string fields;              ///< decoded, as the text of a JSON object
};

/// Where an example states no fields, those of another one with the same payload hold.
inline const std::vector<CommandCase>& AllCommandCases() {
  static const std::vector<CommandCase> CASES = [] {
    std::map<std::pair<std::string, std::string>, std::string> fields = {{{"empty", ""}, "{}"}};
    const auto fieldsOf = [&](const contract::Command& command,
                              const contract::Example& example) -> std::string& {
      return fields[{command.payload->name, example.Request().substr(8)}];
    };
    for (const contract::Command& command : contract::Get().commands) {
      for (const contract::Example& example : command.examples) {
        if (!example.fields.empty()) {
          fieldsOf(command, example) = example.fields;
        }
      }
    }
    std::vector<CommandCase> cases;
    for (const contract::Command& command : contract::Get().commands) {
      const contract::Example& example = command.examples.front();
      cases.push_back({command.code, example.args, fieldsOf(command, example)});
    }
    return cases;
  }();
  return CASES;
}

}  // namespace tests

#endif  // TESTS_SUPPORT_ALL_COMMANDS_H
