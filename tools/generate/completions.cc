// The rows of the completions, for each shell.

#include "completions.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "facts.h"
#include "texts.h"

namespace generate {
namespace {

using Sections = std::map<std::string, std::string>;

/// In single quotes, in which bash and zsh know no escape.
std::string ShellQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char character : text) {
    quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return quoted + "'";
}

/// In single quotes, in which fish escapes the quote and the backslash.
std::string FishQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char character : text) {
    quoted += character == '\'' || character == '\\' ? "\\" : "";
    quoted += character;
  }
  return quoted + "'";
}

/// How the rows of a shell's lists are written.
struct Style {
  std::string (*quote)(std::string_view);
  std::string_view end;  ///< of a row that is not the last
  std::string_view lastEnd;
};
constexpr Style SHELL_STYLE = {ShellQuoted, "\n", "\n"};
constexpr Style FISH_STYLE = {FishQuoted, " \\\n", "\n"};

std::string Text(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) {
    text += part;
  }
  return text;
}

/// The rows of a list: each consists of fields, which a bar separates.
class Rows {
 public:
  explicit Rows(const Style& style) : style_(style) {}

  void Add(std::initializer_list<std::string_view> fields) {
    std::string row;
    for (const std::string_view field : fields) {
      row += row.empty() ? "" : "|";
      row += field;
    }
    text_ += text_.empty() ? "" : style_.end;
    text_ += Text({"    ", style_.quote(row)});
  }

  [[nodiscard]] std::string All() const { return Text({text_, style_.lastEnd}); }

 private:
  Style style_;
  std::string text_;
};

/// The values that an option may have, each with its meaning.
std::vector<std::pair<std::string, std::string>> ValuesOf(const OptionText& text) {
  std::vector<std::pair<std::string, std::string>> values;
  for (const Meaning& value : text.values) {
    values.emplace_back(value.value, value.text);
  }
  if (text.kind == ValueKind::NAME) {
    for (const trel::WorkItemName& row : trel::WORK_ITEM_NAMES) {
      values.emplace_back(row.name,
                          "work-item type " + std::to_string(static_cast<std::uint32_t>(row.type)));
    }
  }
  return values;
}

/// Where a positional word may stand: its place, or for words that may come in any
/// order, the name of the group of which one word is enough.
std::string PlaceOf(trel::CommandCode code, std::size_t index, const WordText& word) {
  return code == trel::CODE_BLOCK_CDB_CB ? std::string(word.name) : std::to_string(index + 1);
}

std::string WordMeaning(const WordText& word, const Meaning& value) {
  return value.value == "default" ? Text({word.summary, ": ", word.unset})
                                  : std::string(value.text);
}

/// word|options|what it does; the words that the help leaves out have no text.
std::string CommandRows(const Style& style) {
  Rows rows(style);
  for (const trel::CommandSpec& row : trel::COMMAND_TABLE) {
    rows.Add({row.word, COMMAND_TEXTS[row.code - 1].options,
              row.helpDescription != nullptr ? SummaryOf(row) : ""});
  }
  return rows.All();
}

/// command|place|word|meaning
std::string WordRows(const Style& style) {
  Rows rows(style);
  for (const CommandText& text : COMMAND_TEXTS) {
    for (std::size_t index = 0; index < text.words.size(); ++index) {
      const WordText& word = text.words[index];
      for (const Meaning& value : word.values) {
        rows.Add({trel::COMMAND_TABLE[text.code - 1].word, PlaceOf(text.code, index, word),
                  value.value, WordMeaning(word, value)});
      }
    }
  }
  return rows.All();
}

/// letter|value|meaning
std::string ValueRows(const Style& style) {
  Rows rows(style);
  for (const OptionText& text : OPTION_TEXTS) {
    for (const auto& [value, meaning] : ValuesOf(text)) {
      rows.Add({{&text.letter, 1}, value, meaning});
    }
  }
  return rows.All();
}

/// letter|name|kind of value|what it does
std::string OptionRows(const Style& style) {
  Rows rows(style);
  for (std::size_t row = 0; row < trel::OPTION_COUNT; ++row) {
    const OptionText& text = OPTION_TEXTS[row];
    rows.Add({{&text.letter, 1}, trel::LONG_OPTIONS[row].name, NameOf(text.kind), text.summary});
  }
  return rows.All();
}

/// The action of zsh's _arguments for the option's value.
std::string ZshAction(const OptionText& text) {
  if (text.kind == ValueKind::FILE_PATH) {
    return "_files";
  }
  if (text.kind == ValueKind::SOCKET_PATH) {
    return "_files -g \"*(=)\"";
  }
  std::string choices;
  for (const auto& [value, meaning] : ValuesOf(text)) {
    choices += Text({choices.empty() ? "" : " ", value, "\\:\"", meaning, "\""});
  }
  return choices.empty() ? " " : Text({"((", choices, "))"});
}

std::string ZshOption(const OptionText& text, std::string_view name) {
  const bool takesValue = text.kind != ValueKind::NONE;
  const std::string_view letter(&text.letter, 1);
  // Behind the help option nothing makes sense any more.
  const std::string excluded =
      text.letter == 'h' ? "(- *)" : Text({"(-", letter, " --", name, ")"});
  std::string end = Text({"[", text.summary, "]"});
  if (takesValue) {
    end += Text({":", text.argument, ":", ZshAction(text)});
  }
  return Text({"  _trel-tool_add ", letter, " ", ShellQuoted(excluded), "{-", letter,
               takesValue ? "+" : "", ",--", name, takesValue ? "=" : "", "}", ShellQuoted(end),
               "\n"});
}

/// The option as zparseopts takes it.
std::string ZshName(const OptionText& text, std::string_view name) {
  const std::string_view colon = text.kind != ValueKind::NONE ? ":" : "";
  return Text({"    ", {&text.letter, 1}, colon, " -", name, colon, " \\\n"});
}

/// What tells fish which values the option has.
std::string FishValues(const OptionText& text) {
  if (text.kind == ValueKind::NONE) {
    return "";
  }
  if (text.kind == ValueKind::FILE_PATH) {
    return " -rF";
  }
  if (text.kind == ValueKind::SOCKET_PATH) {
    return " -xa '(__trel_tool_sockets)'";
  }
  if (ValuesOf(text).empty()) {
    return " -x";
  }
  return Text({" -x -a '(__trel_tool_values ", {&text.letter, 1}, ")'"});
}

std::string FishOption(const OptionText& text, std::string_view name) {
  const std::string_view letter(&text.letter, 1);
  return Text({"complete -c trel-tool -n '__trel_tool_takes ", letter, "' -s ", letter, " -l ",
               name, " -d ", FishQuoted(text.summary), FishValues(text), "\n"});
}

/// The option as argparse takes it.
std::string FishName(const OptionText& text, std::string_view name) {
  return Text({"        ",
               {&text.letter, 1},
               "/",
               name,
               text.kind != ValueKind::NONE ? "=+" : "",
               " \\\n"});
}

/// What `line` makes of each option.
std::string ForEachOption(std::string (*line)(const OptionText&, std::string_view)) {
  std::string lines;
  for (std::size_t row = 0; row < trel::OPTION_COUNT; ++row) {
    lines += line(OPTION_TEXTS[row], trel::LONG_OPTIONS[row].name);
  }
  return lines;
}

}  // namespace

Sections BashSections() {
  return {{"COMMANDS", CommandRows(SHELL_STYLE)},
          {"OPTIONS", OptionRows(SHELL_STYLE)},
          {"VALUES", ValueRows(SHELL_STYLE)},
          {"WORDS", WordRows(SHELL_STYLE)}};
}

Sections ZshSections() {
  return {{"COMMANDS", CommandRows(SHELL_STYLE)},
          {"OPTIONS", ForEachOption(ZshOption)},
          {"NAMES", ForEachOption(ZshName)},
          {"WORDS", WordRows(SHELL_STYLE)}};
}

Sections FishSections() {
  return {{"COMMANDS", CommandRows(FISH_STYLE)},
          {"OPTIONS", ForEachOption(FishOption)},
          {"NAMES", ForEachOption(FishName)},
          {"VALUES", ValueRows(FISH_STYLE)},
          {"WORDS", WordRows(FISH_STYLE)}};
}

}  // namespace generate
