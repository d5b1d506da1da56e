// The model of options, command word and argument checks.

#include "tests/fuzz/command_line_model.h"

#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <utility>

#include "tests/fake/require.h"

namespace fuzz {
namespace {

using contract::Option;
using contract::ReplyMode;

constexpr std::size_t ENTRY_SIZE = 37;  // a UUID's text and a comma or terminator

/// A diagnostic, or nothing if all is well.
using Refusal = std::optional<std::string>;

/// The contract's message about an option, with `values` in place of its
/// conversions. Of several messages the one of this index.
std::string Message(std::string_view option, std::size_t index = 0,
                    std::initializer_list<std::string_view> values = {}) {
  for (const contract::Diagnostic& entry : contract::Get().diagnostics) {
    if (entry.option != option || index-- != 0) {
      continue;
    }
    std::string text = entry.text;
    std::size_t place = 0;
    for (const std::string_view value : values) {
      place = text.find('%', place);
      text.replace(place, 2, value);
      place += value.size();
    }
    return text;
  }
  fake::Fail("a message that the contract does not have");
}

/// The contract's message about a check. Of several messages the one of this index.
std::string CheckMessage(std::string_view check, std::size_t index = 0) {
  for (const contract::Diagnostic& entry : contract::Get().diagnostics) {
    if (entry.check == check && index-- == 0) {
      return entry.text;
    }
  }
  fake::Fail("a message that the contract does not have");
}

/// The number in `text` by its own arithmetic; nothing if it is beyond 64 bits.
std::optional<std::uint32_t> Number(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  unsigned __int128 value = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') {
      break;
    }
    value = value * 10 + static_cast<unsigned>(digit - '0');
    if (value > UINT64_MAX) {
      return std::nullopt;
    }
  }
  const auto low = static_cast<std::uint32_t>(value);
  return negative ? 0U - low : low;
}

class Parser {
 public:
  explicit Parser(const std::vector<char*>& words) {
    line_.words = words;
    line_.words.push_back(nullptr);
    line_.options.resize(contract::Get().options.size());
  }

  ParsedLine Parse() {
    Refusal refusal = ReadOptions();
    if (refusal && line_.fate == Fate::EXCHANGED) {
      line_.fate = Fate::REFUSED;
    }
    line_.diagnostic = std::move(refusal).value_or("");
    return std::move(line_);
  }

 private:
  [[nodiscard]] std::size_t WordCount() const { return line_.words.size() - 1; }

  Refusal Uuid(const Option& option, const char* text) {
    std::array<unsigned char, 16>& u = line_.uuid;
    // The count decides: NOLINTNEXTLINE(cert-err34-c)
    const int count = std::sscanf(
        text,
        "%02hhx%02hhx%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx"
        "%02hhx%02hhx",
        u.data(), &u[1], &u[2], &u[3], &u[4], &u[5], &u[6], &u[7], &u[8], &u[9], &u[10], &u[11],
        &u[12], &u[13], &u[14], &u[15]);
    return count < 8 ? Refusal(Message(option.name, 0, {text, std::to_string(count)}))
                     : std::nullopt;
  }

  Refusal List(const Option& option, std::string_view text) {
    const bool forUpgrade = option.name == "uuid-list";
    if (text.size() % ENTRY_SIZE != ENTRY_SIZE - 1 && (forUpgrade || !text.empty())) {
      return Message("uuid-list", 0, {text});
    }
    if (text.size() < option.entries.value_or(0) * ENTRY_SIZE) {
      return std::nullopt;
    }
    if (forUpgrade) {
      line_.fate = Fate::ABORTED;
      return "";
    }
    return Message(option.name);
  }

  Refusal FilePath(const Option& option, std::string_view text) {
    if (text.size() > option.bytes.value_or(0)) {
      return Message(option.name);
    }
    // What a longer path of an earlier -f had after this one stays.
    line_.filePath.replace(0, std::min(text.size(), line_.filePath.size()), text);
    return std::nullopt;
  }

  static Refusal Numeric(const Option& option, std::string_view text, std::uint32_t* number) {
    const std::optional<std::uint32_t> value = Number(text);
    if (!value) {
      return Message(option.name, 0, {text});
    }
    *number = *value;
    if (*number <= option.most.value_or(UINT32_MAX)) {
      return std::nullopt;
    }
    return option.name == "exclusion-mode"
               ? Message(option.name, 1, {std::to_string(static_cast<std::int32_t>(*number))})
               : Message(option.name, 0, {text});
  }

  static Refusal NameOfNumber(const Option& option, std::string_view text, std::uint32_t* number) {
    for (const contract::NamedNumber& row : option.names->numbers) {
      if (row.name == text) {
        *number = static_cast<std::uint32_t>(row.number);
        return std::nullopt;
      }
    }
    return Message(option.name, 0, {text});
  }

  Refusal Accept(const Option& option, const char* text, Given& given) {
    if (option.type == "uuid") {
      return Uuid(option, text);
    }
    if (option.type == "uuid-list") {
      return List(option, text);
    }
    if (option.type == "number") {
      return Numeric(option, text, &given.number);
    }
    if (option.names != nullptr) {
      return NameOfNumber(option, text, &given.number);
    }
    if (option.bytes) {
      return FilePath(option, text);
    }
    line_.jsonCopies += option.type == "json" ? 1 : 0;
    given.number = 1;
    return std::nullopt;
  }

  Refusal ReadOptions() {
    static const std::vector<option> LONG_OPTIONS = [] {
      std::vector<option> rows;
      for (const Option& entry : contract::Get().options) {
        rows.push_back({entry.name.c_str(), entry.type != "none" ? 1 : 0, nullptr, entry.letter});
      }
      rows.push_back({nullptr, 0, nullptr, 0});
      return rows;
    }();
    static const std::string SHORT_OPTIONS = [] {
      std::string letters;
      for (const Option& entry : contract::Get().options) {
        letters += entry.letter;
        letters += entry.type != "none" ? ":" : "";
      }
      return letters;
    }();

    const auto count = static_cast<int>(WordCount());
    if (count < 2) {
      return "";
    }
    optind = 0;  // the library starts anew
    for (;;) {
      const int letter = getopt_long(count, line_.words.data(), SHORT_OPTIONS.c_str(),
                                     LONG_OPTIONS.data(), &longOptionIndex_);
      if (letter == -1) {
        return ReadCommand(static_cast<std::size_t>(optind));
      }
      const std::vector<Option>& options = contract::Get().options;
      const auto option = std::find_if(options.begin(), options.end(),
                                       [&](const Option& row) { return row.letter == letter; });
      if (option == options.end()) {
        return "";  // the library has said what it is
      }
      if (option->name == "help") {
        line_.fate = Fate::HELP;
        return "";
      }
      Given& given = line_.options[static_cast<std::size_t>(option - options.begin())];
      const char* text = optarg != nullptr ? optarg : "";
      Refusal refusal = Accept(*option, text, given);
      if (refusal) {
        return refusal;
      }
      given.given = true;
      given.text = text;
    }
  }

  Refusal ReadCommand(std::size_t wordIndex) {
    if (wordIndex == WordCount()) {
      return "Command string missing\n";
    }
    const std::string_view word = line_.words[wordIndex];
    line_.command = contract::Get().CommandOfWord(word);
    if (line_.command == nullptr) {
      return std::string("Unrecognized command: ").append(word).append("\n");
    }
    line_.argumentIndex = WordCount() > wordIndex + 1 ? wordIndex + 1 : 0;
    return Check(line_.command->check);
  }

  /// Whether the word in the place of the last long option is there and is not
  /// the number that has all 64 bits set or is cut to it.
  [[nodiscard]] bool WordInPlace() const {
    const auto index = static_cast<std::size_t>(longOptionIndex_);
    return index < WordCount() && std::strtoul(line_.words[index], nullptr, 10) != ~0UL;
  }

  /// The index of the message of a check of the lists that fails.
  [[nodiscard]] std::optional<std::size_t> CheckMoveLists() const {
    const Given& destinations = line_.Of("destination-list");
    const Given& exclusions = line_.Of("exclusion-list");
    if (!line_.Of("uuid").given) {
      return 0;
    }
    if (destinations.given == exclusions.given) {
      return 1;
    }
    return destinations.text.empty() && exclusions.text.empty() ? std::optional<std::size_t>(2)
                                                                : std::nullopt;
  }

  [[nodiscard]] Refusal Check(const std::string& check) const {
    if (check == "move-lists") {
      const std::optional<std::size_t> failed = CheckMoveLists();
      return failed ? Refusal(CheckMessage(check, *failed)) : std::nullopt;
    }
    bool passes = false;
    if (check == "none") {
      passes = true;
    } else if (check == "uuid-or-all") {
      passes = line_.Of("uuid").given || line_.Of("all").given;
    } else if (check == "recovery-target") {
      passes = line_.Of("uuid").given || line_.Of("recovery-mode").given;
    } else if (check == "log-level" || check == "callback-words") {
      passes = WordInPlace();
    } else {
      passes = line_.Of(check).given;  // named like the option that it wants
    }
    return passes ? std::nullopt : Refusal(CheckMessage(check));
  }

  ParsedLine line_;
  int longOptionIndex_ = 1;
};

}  // namespace

const Given& ParsedLine::Of(std::string_view name) const {
  const std::vector<Option>& rows = contract::Get().options;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    if (rows[row].name == name) {
      return options[row];
    }
  }
  fake::Fail("an option that the contract does not have");
}

ReplyMode ParsedLine::Mode() const {
  return command->with && Of(command->with->option).given ? command->with->reply.mode
                                                          : command->reply.mode;
}

ParsedLine ParseLine(const std::vector<char*>& words) { return Parser(words).Parse(); }

}  // namespace fuzz
